// qwfx metadata of the delay effect (plug-in id 4): the 40-byte block of nine floats and a mode.
#include "qwfx/lib/qweffectmeta.h"

namespace {

const char* const DELAY_MODE_NAMES[] = {"sine", "soft-sine", "knee", "bits-magnitude", "bits-twos", "clean"};

const QwParamMeta DELAY_PARAMS[] = {
    {0, "dry", QwParamType::F32, 100.0, "%", 0.0, 100.0, nullptr, 0},
    {1, "wet", QwParamType::F32, 0.0, "%", 0.0, 100.0, nullptr, 0},
    {2, "low-cut", QwParamType::F32, 80.0, "Hz", 20.0, 20000.0, nullptr, 0},
    {3, "low-cut-q", QwParamType::F32, 0.2, "", 0.2, 12.0, nullptr, 0},
    {4, "high-cut", QwParamType::F32, 10000.0, "Hz", 20.0, 20000.0, nullptr, 0},
    {5, "high-cut-q", QwParamType::F32, 0.2, "", 0.2, 12.0, nullptr, 0},
    {6, "time", QwParamType::F32, 200.0, "ms", 10.0, 1000.0, nullptr, 0},
    {7, "feedback", QwParamType::F32, 20.0, "%", 0.0, 200.0, nullptr, 0},
    {8, "amount", QwParamType::F32, 0.25, "", 0.0, 1.0, nullptr, 0},
    {9, "mode", QwParamType::U32, 0.0, "", 0.0, 5.0, DELAY_MODE_NAMES, 6},
};

const QwPresetMeta DELAY_DEMO = {"demo", "dry=100 wet=60 time=350 feedback=55 amount=0.4 mode=soft-sine "
                                         "low-cut=150 low-cut-q=0.7 high-cut=6000 high-cut-q=0.7"};

// One per mode, with the same loop settings so that the modes compare.
const QwPresetMeta DELAY_BENCH[] = {
    {"sine", "dry=100 wet=50 time=300 feedback=50 amount=0.5 mode=sine"},
    {"soft-sine", "dry=100 wet=50 time=300 feedback=50 amount=0.5 mode=soft-sine"},
    {"knee", "dry=100 wet=50 time=300 feedback=50 amount=0.5 mode=knee"},
    {"bits-magnitude", "dry=100 wet=50 time=300 feedback=50 amount=0.5 mode=bits-magnitude"},
    {"bits-twos", "dry=100 wet=50 time=300 feedback=50 amount=0.5 mode=bits-twos"},
    {"clean", "dry=100 wet=50 time=300 feedback=50 amount=0.5 mode=clean"},
};

} // namespace

extern const QwEffectMeta g_qwDelayMeta = {
    4,
    "delay",
    DELAY_PARAMS,
    sizeof(DELAY_PARAMS) / sizeof(DELAY_PARAMS[0]),
    40,
    &DELAY_DEMO,
    DELAY_BENCH,
    sizeof(DELAY_BENCH) / sizeof(DELAY_BENCH[0]),
    nullptr,
};
