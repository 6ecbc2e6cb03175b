#include "SimRecordLayout.h"

namespace {

// clang-format off
const SimRecordLayout layouts[7] = {
//   size idW group send name count cW  act  byp  flags time tW  lvlN lvls lW
    { 45,  4,  -1,   -1,   4,   36,  4,  40,  -1,  -1,   -1,  0,  -1,  -1,  0},
    { 49,  4,  -1,   -1,   4,   36,  4,  40,  -1,  -1,   45,  4,  -1,  -1,  0},
    { 61,  8,  -1,   -1,   8,   40,  4,  44,  45,  -1,   48,  2,  50,  -1,  0},
    {179,  8,  -1,   -1,   8,   40,  4,  44,  45,  -1,   48,  2,  50,  51,  4},
    {187,  8,   8,   -1,  16,   48,  4,  52,  53,  -1,   56,  2,  58,  59,  4},
    {195,  8,   8,  187,  16,   48,  4,  52,  53,  -1,   56,  2,  58,  59,  4},
    { 94,  8,   8,   16,  62,   24,  2,  -1,  -1,  28,   26,  2,  29,  30,  1},
};
// clang-format on

} // namespace

const SimRecordLayout* SimRecordLayout::forVersion(int version)
{
    return version >= 0 && version <= 6 ? &layouts[version] : nullptr;
}

int SimRecordLayout::headerSize(int version)
{
    if (version == 0)
        return 0;
    if (version == 1)
        return 4;
    return version == 6 ? 8 : 5;
}
