// Host-side table of the single-band distortion (plug-in 3): names, units, nominal ranges,
// presets. Algorithms are set by number or by the short names below.
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/meta_distortion.h"

// Lower-case names without the family prefix, in algorithm-number order.
extern const char* const g_apszDistortionAlgorithmNames[QW_DISTORTION_ALGORITHMS] = {
    "none",              "amp-drainer",       "amperical",         "distropia",         "harmonic-control",
    "mirror-overdrive",  "smooth-overdrive",  "straight-fuzz",     "ten-inch-spike",    "tube-drainer",
    "smooth-fuzz",       "nasty-boy",         "wrecktifier",       "hard-limits",       "positive-fuzz",
    "negative-fuzz",     "crungey-grunch",    "crunchy-grunge",    "clip-control",      "delicate-harmonics",
    "squealer",          "hot-tin-roof",      "blues-driver",      "double-stages",     "gentle-push",
    "slight-twist",      "cold-solder",       "little-popper",     "radio-contact",     "elastic-skrel",
    "tape-saturation",   "push-pull",         "mild-excitement",   "garage-fuzz",       "bit-wrench",
    "cheap-digital",     "bit-aliasing",      "cracked-actor",     "cracked-actress",   "rubber-hammer",
    "faulty-transistor", "bad-breakup",       "citrus-pulp",       "acid-fuzz",         "uncontrolled-static",
    "stomper",           "iron-fuzz",         "noise-art",
};

namespace {

const QwParamMeta s_params[] = {
    {0, "input-gain1", QwParamType::F32, 0.0, "dB", -24.0, 24.0, nullptr, 0},
    {1, "drive1", QwParamType::F32, 5.0, "", 0.0, 10.0, nullptr, 0},
    {2, "character1", QwParamType::F32, 0.5, "", 0.0, 1.0, nullptr, 0},
    {3, "mix1", QwParamType::F32, 100.0, "%", 0.0, 100.0, nullptr, 0},
    {4, "output-gain1", QwParamType::F32, 0.0, "dB", -24.0, 24.0, nullptr, 0},
    {5, "algorithm1", QwParamType::U32, 0.0, "", 0.0, 47.0, g_apszDistortionAlgorithmNames, QW_DISTORTION_ALGORITHMS},
    {6, "input-gain2", QwParamType::F32, 0.0, "dB", -24.0, 24.0, nullptr, 0},
    {7, "drive2", QwParamType::F32, 5.0, "", 0.0, 10.0, nullptr, 0},
    {8, "character2", QwParamType::F32, 0.5, "", 0.0, 1.0, nullptr, 0},
    {9, "mix2", QwParamType::F32, 100.0, "%", 0.0, 100.0, nullptr, 0},
    {10, "output-gain2", QwParamType::F32, 0.0, "dB", -24.0, 24.0, nullptr, 0},
    {11, "algorithm2", QwParamType::U32, 0.0, "", 0.0, 47.0, g_apszDistortionAlgorithmNames, QW_DISTORTION_ALGORITHMS},
};

// A warm overdrive with a little dry blended in, rounded off by tape saturation at unity drive;
// peaks near -2 dBFS on the demo programme.
const QwPresetMeta s_demo = {
    "warm-crunch",
    "algorithm1=blues-driver drive1=4 mix1=85 algorithm2=tape-saturation drive2=0 output-gain2=-3"};

// One preset per family. Both slots always run, so a family's cost is its slot plus a pass of
// algorithm 0 in the other; "none" is the cost of the frame itself.
const QwPresetMeta s_bench[] = {
    {"none", "algorithm1=none algorithm2=none"},
    {"closed-form", "algorithm1=amp-drainer"},
    {"knee", "algorithm1=hard-limits"},
    {"tube-drainer", "algorithm1=tube-drainer"},
    {"polynomial", "algorithm1=little-popper drive1=2"},
    {"character", "algorithm1=double-stages character1=0.7"},
    {"inverted", "algorithm1=clip-control character1=0.3"},
    // Drive 0 keeps the programme below full scale, where every Cheap Digital sample would also
    // pay for an assertion report through the host's hook.
    {"digital", "algorithm1=bit-wrench drive1=0 algorithm2=cheap-digital drive2=0 character2=0.4"},
    {"lookup", "algorithm1=citrus-pulp"},
};

} // namespace

extern const QwEffectMeta g_qwDistortionMeta = {
    3, "distortion", s_params, sizeof s_params / sizeof s_params[0], 48, &s_demo,
    s_bench, sizeof s_bench / sizeof s_bench[0], nullptr};
