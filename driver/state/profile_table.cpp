// The match table of the application profiles. Texts stand in their stored form, each letter moved 13 places, in lower case; the
// readable ones and what each program needs are in docs/application_profiles.md.
#include "driver/state/profile_table.h"

namespace qv {

const VersionProfileRow kVersionProfileRows[] = {
    {"sreajnyx.rkr", kTail1, 0, 300, false},                 // V1
    {"uneobheyvtug", kTail1, 0, 320, false},                 // V2
    {"zbfnvporapu.rkr", kTail1, 0, 320, false},              // V3
    {"bepuneq\\ova\\pnabcl.rkr", kTail3, 0, 320, false},     // V4
    {"cncreynagrea.rkr", kTail1, 0, 320, true},              // V5
    {"zhqsyng\\ivrjre.rkr", kTail2, 0, 320, true},           // V6
    {"pbccrexvgr\\ynhapu.rkr", kTail2, 0, 330, false},       // V7
    {"fgbardhnl", kTail1 | kTail2, 0, 330, false},           // V8
    {"jvyybjcyna.rkr", kTail1, 0, 330, false},               // V9
    {"yhzra qensg", kProductName | kTail3, 17, 320, false},  // V10
    {"abegusbyq greenva", kProductName, 0, 330, false},      // V11
    {"dhneel fphycg", kProductName, 2018, 330, false},       // V12
    {"fnygznefu cynaare", kProductName, 0, 320, false},      // V13
    {"oevaqyr navzngbe", kProductName, 0, 330, false},       // V14
    {"ubyybj errq fghqvb", kProductName, 0, 330, false},     // V15
    {"nzoretynff ynlbhg", kProductName, 0, 330, false},      // V16
    {"guvfgyrqbja zncf", kProductName, 0, 330, false},       // V17
};
static_assert(sizeof(kVersionProfileRows) / sizeof(kVersionProfileRows[0]) == kVersionProfileRowCount);

const QuirkTexts kQuirkTexts = {
    .imageNoHostErrors = "crooyrpunfr.rkr",    // Q1
    .imageNoHostErrorsToo = "fabjsvapu.rkr",   // Q2
    .ownVendor = "vebaonex fvzhyngbe",         // Q3
    .primitiveRestart = "pbooyrfgbar zrfure",  // Q4
    .shaderPacking = "cvarpbar funqre yno",    // Q5
};

}  // namespace qv
