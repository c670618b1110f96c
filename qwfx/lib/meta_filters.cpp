// qwfx's table for the filters effect (plug-in 6): three filters, f1 to f3, of 12 values each.
#include "qwfx/lib/qweffectmeta.h"

namespace {

const char* const s_apszTypes[] = {
    "none",           "lowpass",         "highpass",        "bandpass",       "lowshelf",
    "highshelf",      "peak",            "svf-1",           "svf-avg",        "svf-2",
    "ladder-clip",    "ladder-low",      "ladder-high",     "ladder-band",    "ladder-cascade",
    "svf-scaled-low", "svf-scaled-high", "svf-scaled-band", "svf-driven-low", "svf-driven-band",
    "svf-driven-high", "svf-driven-peak", "formant0-low",   "formant0-high",  "formant0-band",
    "formant1-low",   "formant1-high",   "formant1-band",   "formant2-low",   "formant2-high",
    "formant2-band",  "formant3-low",    "formant3-high",   "formant3-band",  "formant4-low",
    "formant4-high",  "formant4-band",
};
const char* const s_apszModes[] = {"static", "lfo", "off"};
// Shape 5 is accepted by the module but computes nothing: a modulated filter with it stops.
const char* const s_apszShapes[] = {"sine", "square", "ramp-up", "ramp-down", "triangle", "none"};

#define FILTER_PARAMS(n, type, freq, q, freq2, q2)                                                        \
    {12 * (n - 1) + 0, "f" #n "-type", QwParamType::U32, type, "", 0, 36, s_apszTypes, 37},                \
    {12 * (n - 1) + 1, "f" #n "-freq", QwParamType::F32, freq, "Hz", 20, 20000, nullptr, 0},               \
    {12 * (n - 1) + 2, "f" #n "-q", QwParamType::F32, q, "", 0.1, 24, nullptr, 0},                         \
    {12 * (n - 1) + 3, "f" #n "-res", QwParamType::F32, 0.2, "", 0, 1, nullptr, 0},                        \
    {12 * (n - 1) + 4, "f" #n "-gain", QwParamType::F32, 0, "dB", -24, 24, nullptr, 0},                    \
    {12 * (n - 1) + 5, "f" #n "-mode", QwParamType::U32, 0, "", 0, 2, s_apszModes, 3},                     \
    {12 * (n - 1) + 6, "f" #n "-lfo-shape", QwParamType::U32, 0, "", 0, 5, s_apszShapes, 6},               \
    {12 * (n - 1) + 7, "f" #n "-lfo-period", QwParamType::F32, 1000, "ms", 10, 60000, nullptr, 0},         \
    {12 * (n - 1) + 8, "f" #n "-freq2", QwParamType::F32, freq2, "Hz", 20, 20000, nullptr, 0},             \
    {12 * (n - 1) + 9, "f" #n "-gain2", QwParamType::F32, 0, "dB", -24, 24, nullptr, 0},                   \
    {12 * (n - 1) + 10, "f" #n "-q2", QwParamType::F32, q2, "", 0.1, 24, nullptr, 0},                      \
    {12 * (n - 1) + 11, "f" #n "-res2", QwParamType::F32, 0.2, "", 0, 1, nullptr, 0}

const QwParamMeta s_aParams[] = {
    FILTER_PARAMS(1, 2, 40, 0.5, 160, 0.5),
    FILTER_PARAMS(2, 6, 1000, 0.2, 3000, 0.2),
    FILTER_PARAMS(3, 1, 15000, 0.5, 20000, 0.5),
};

#undef FILTER_PARAMS

const QwPresetMeta s_demo = {
    "sweep",
    "f2-mode=off f3-type=ladder-low f3-freq=250 f3-freq2=5000 f3-res=0.75 f3-res2=0.75 "
    "f3-mode=lfo f3-lfo-shape=triangle f3-lfo-period=4000",
};

// One static chain of biquads, then each class alone on filter 1 under a sine LFO, the other
// two filters off, so that the table shows what each class costs.
#define MODULATED(name, type)                                                                         \
    {name, "f1-type=" type " f1-freq=300 f1-freq2=3000 f1-res=0.5 f1-res2=0.5 f1-mode=lfo "         \
           "f1-lfo-period=500 f2-mode=off f3-mode=off"}

const QwPresetMeta s_aBench[] = {
    {"static-biquads", "f2-gain=6 f2-q=1"},
    MODULATED("biquad-lfo", "lowpass"),
    MODULATED("svf-chain-lfo", "svf-avg"),
    MODULATED("ladder-clip-lfo", "ladder-clip"),
    MODULATED("ladder-lfo", "ladder-band"),
    MODULATED("ladder-cascade-lfo", "ladder-cascade"),
    MODULATED("svf-scaled-lfo", "svf-scaled-low"),
    MODULATED("svf-driven-lfo", "svf-driven-peak"),
    MODULATED("formant-lfo", "formant2-low"),
};

#undef MODULATED

} // namespace

extern const QwEffectMeta g_qwFiltersMeta = {
    6,
    "filters",
    s_aParams,
    static_cast<uint32_t>(sizeof s_aParams / sizeof s_aParams[0]),
    144,
    &s_demo,
    s_aBench,
    static_cast<uint32_t>(sizeof s_aBench / sizeof s_aBench[0]),
    nullptr,
};
