// Host-side table of the dynamics effect (plug-in 5): names, units, nominal ranges, presets.
#include "qwfx/lib/qweffectmeta.h"

namespace {

const char* const s_apszOffOn[] = {"off", "on"};

const QwParamMeta s_params[] = {
    {0, "bypass", QwParamType::U32, 0.0, "", 0.0, 1.0, s_apszOffOn, 2},
    {1, "comp-threshold", QwParamType::F32, 0.0, "dB", -60.0, 0.0, nullptr, 0},
    {2, "comp-ratio", QwParamType::F32, 1.0, ":1", 1.0, 20.0, nullptr, 0},
    {3, "comp-attack", QwParamType::F32, 10.0, "ms", 0.0, 500.0, nullptr, 0},
    {4, "comp-release", QwParamType::F32, 200.0, "ms", 0.0, 5000.0, nullptr, 0},
    {5, "exp-threshold", QwParamType::F32, 0.0, "dB", -96.0, 0.0, nullptr, 0},
    {6, "exp-ratio", QwParamType::F32, 1.0, ":1", 1.0, 20.0, nullptr, 0},
    {7, "exp-attack", QwParamType::F32, 10.0, "ms", 0.0, 500.0, nullptr, 0},
    {8, "exp-release", QwParamType::F32, 200.0, "ms", 0.0, 5000.0, nullptr, 0},
    {9, "output-gain", QwParamType::F32, 0.0, "dB", -24.0, 24.0, nullptr, 0},
};

// Holds the drum hits down hard (6:1 over -30 dB, 1 ms attack) so that the chord between them
// comes up, gently gates what falls under -60 dB, and makes the level back up by 8 dB: on the
// demo programme the spread of 20 ms levels shrinks from about 30 dB to 15 dB, peaks near -1 dBFS.
const QwPresetMeta s_demo = {
    "squeezed-drums",
    "comp-threshold=-30 comp-ratio=6 comp-attack=1 comp-release=80 "
    "exp-threshold=-60 exp-ratio=2 exp-attack=1 exp-release=50 output-gain=8"};

// Ratios 1 skip pow on every sample: the cheapest path. The second puts every sample above
// 1e-3 over the compressor threshold and every sample under full scale below the expander's,
// so both pow calls run on nearly every sample: the dearest path.
const QwPresetMeta s_bench[] = {
    {"both-ratios-1", "comp-ratio=1 exp-ratio=1"},
    {"comp-exp-every-sample",
     "comp-threshold=-60 comp-ratio=4 comp-attack=5 comp-release=100 "
     "exp-threshold=0 exp-ratio=2 exp-attack=5 exp-release=100"},
};

} // namespace

extern const QwEffectMeta g_qwDynamicsMeta = {
    5, "dynamics", s_params, sizeof s_params / sizeof s_params[0], 40, &s_demo,
    s_bench, sizeof s_bench / sizeof s_bench[0], nullptr};
