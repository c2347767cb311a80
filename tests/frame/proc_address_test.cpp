// DrvGetProcAddress: the halving search over the names.
#include <string>

#include "driver/tables/proc_tables.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

// Every name of the table finds its own row, the first and the last among them.
TEST(ProcAddressTest, EveryNameFindsItsRow) {
  for (const ProcNameRow& row : ProcNameTable) EXPECT_EQ(DrvGetProcAddress(row.name), row.proc) << row.name;
  EXPECT_STREQ(ProcNameTable[0].name, "glAccum");
  EXPECT_STREQ(ProcNameTable[1365].name, "wglSwapIntervalEXT");
  EXPECT_EQ(reinterpret_cast<void*>(DrvGetProcAddress("wglSwapIntervalEXT")), reinterpret_cast<void*>(&gl::wglSwapIntervalEXT));
}

// Names that are near to one of the table, or before and behind all of them, are not found.
TEST(ProcAddressTest, UnknownNamesAreNotFound) {
  for (const char* const name : {"", "A", "glAccu", "glAccumA", "glaccum", "glVertex3", "glVertex3fx", "wglSwapIntervalEX",
                                 "wglSwapIntervalEXTA", "zzz", "\xff", "wglCreateContext"}) {
    EXPECT_EQ(DrvGetProcAddress(name), nullptr) << name;
  }
}

// The ARB and EXT names of a window system function are one function.
TEST(ProcAddressTest, WglTwinsAreOneFunction) {
  for (const char* const base :
       {"wglBindTexImage", "wglChoosePixelFormat", "wglCreatePbuffer", "wglDestroyPbuffer", "wglGetCurrentReadDC",
        "wglGetPbufferDC", "wglGetPixelFormatAttribfv", "wglGetPixelFormatAttribiv", "wglMakeContextCurrent", "wglQueryPbuffer",
        "wglReleasePbufferDC", "wglReleaseTexImage", "wglSetPbufferAttrib"}) {
    const std::string name(base);
    EXPECT_NE(DrvGetProcAddress((name + "ARB").c_str()), nullptr) << name;
    EXPECT_EQ(DrvGetProcAddress((name + "ARB").c_str()), DrvGetProcAddress((name + "EXT").c_str())) << name;
  }
}

}  // namespace
}  // namespace qv::test
