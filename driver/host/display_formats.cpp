// The kernel driver's numbering of surface formats.
#include "driver/host/display_formats.h"

namespace qv {

namespace {

struct DisplayFormatRow {
  uint32_t d3dFormat;
  uint32_t formatId;
};

// In the kernel driver's order: the first row found wins, so that 32 is format id 2 and 77 is 36.
constexpr DisplayFormatRow DisplayFormatTable[] = {
    {22, 7},          {21, 0},          {33, 9},           {32, 2},          {32, 3},          {31, 77},         {35, 80},
    {20, 10},         {23, 16},         {30, 17},          {26, 18},         {24, 19},         {25, 20},         {27, 21},
    {41, 27},         {827611204, 101}, {844388420, 103},  {861165636, 103}, {877942852, 105}, {894720068, 105}, {826889281, 107},
    {843666497, 109}, {81, 66},         {50, 28},          {51, 29},         {52, 30},         {28, 26},         {75, 34},
    {1515474505, 35}, {77, 36},         {77, 37},          {80, 61},         {71, 38},         {74, 31},         {76, 39},
    {60, 13},         {61, 45},         {62, 46},          {63, 5},          {114, 48},        {115, 51},        {116, 57},
    {111, 60},        {112, 67},        {113, 72},         {34, 68},         {36, 73},         {844715353, 85},  {1498831189, 86},
    {842094169, 87},  {1448433985, 91}, {842094158, 88},   {825382478, 89},  {100, 115},       {101, 116},       {102, 117},
    {199, 118},       {64, 70},         {1280070990, 119}, {875710020, 43},  {909198916, 44},
};
static_assert(sizeof(DisplayFormatTable) / sizeof(DisplayFormatTable[0]) == 61);

}  // namespace

uint32_t displayFormatId(uint32_t d3dFormat) {
  for (const DisplayFormatRow& row : DisplayFormatTable) {
    if (row.d3dFormat == d3dFormat) return row.formatId;
  }
  return kUnknownFormatId;
}

// Every surface of this driver is X8R8G8B8, whose format id is 7.
uint32_t surfaceBytesPerPixel(uint32_t formatId) { return formatId == 7 ? 4 : 0; }

}  // namespace qv
