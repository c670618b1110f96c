// Host-side table of the reverb (plug-in 2). The six network values are replaced at Init by
// those of the model record: for the demo and one bench preset, a measured room fitted here;
// for the other presets, a synthetic model.
#include <unistd.h>
#include <cstring>
#include <map>
#include "qwfx/lib/qwboxmodel.h"
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwreverbfit.h"
#include "qwfx/lib/qwreverbmodel.h"

namespace {

const QwParamMeta s_aParams[] = {
    {0, "decay-time", QwParamType::F32, 0.5, "s", 0.05, 5.0, nullptr, 0},
    {1, "low-crossover", QwParamType::F32, 400.0, "Hz", 20.0, 2000.0, nullptr, 0},
    {2, "high-crossover", QwParamType::F32, 10000.0, "Hz", 1000.0, 20000.0, nullptr, 0},
    {3, "low-multiplier", QwParamType::F32, 1.0, "ratio", 0.1, 4.0, nullptr, 0},
    {4, "mid-multiplier", QwParamType::F32, 1.0, "ratio", 0.1, 4.0, nullptr, 0},
    {5, "high-multiplier", QwParamType::F32, 1.0, "ratio", 0.1, 4.0, nullptr, 0},
    {6, "early-gain", QwParamType::F32, 0.0, "dB", -96.3, 24.3, nullptr, 0},
    {7, "late-gain", QwParamType::F32, 0.0, "dB", -96.3, 24.3, nullptr, 0},
    {8, "front-pre-delay", QwParamType::F32, 0.0, "ms", 0.0, 100.0, nullptr, 0},
    {9, "rear-pre-delay", QwParamType::F32, 0.0, "ms", 0.0, 100.0, nullptr, 0},
    {10, "front-wet-out", QwParamType::F32, 0.0, "dB", -96.3, 24.3, nullptr, 0},
    {11, "front-dry-out", QwParamType::F32, -96.0, "dB", -96.3, 24.3, nullptr, 0},
    {12, "rear-wet-out", QwParamType::F32, 0.0, "dB", -96.3, 24.3, nullptr, 0},
    {13, "rear-dry-out", QwParamType::F32, -96.0, "dB", -96.3, 24.3, nullptr, 0},
    {14, "order", QwParamType::U32, 16.0, "lines", 8.0, 16.0, nullptr, 0},
};

const char MODELED_ROOM[] = "small-shop-48k-stereo.wav";

const QwPresetMeta s_demo = {"small-shop", "front-dry-out=-3 front-wet-out=-6 rear-dry-out=-3 rear-wet-out=-6 front-pre-delay=12"};

const QwPresetMeta s_aBench[] = {
    {"stereo-order-16", "order=16 front-dry-out=0"},
    {"stereo-order-8", "order=8 front-dry-out=0"},
    {"5.1-order-16", "layout=5.1 order=16 front-dry-out=0 rear-dry-out=0"},
    {"7.1-order-16", "layout=7.1 order=16 front-dry-out=0 rear-dry-out=0"},
    {"small-shop", "order=16 front-dry-out=0"},
};

// The measured room of the data folder, fitted for order 16 once per sample rate; empty when
// the file is missing, is at another rate or does not fit.
const std::vector<uint8_t>& ModeledRoom(uint32_t in_uSampleRate)
{
    static std::map<uint32_t, std::vector<uint8_t>> s_records;
    auto found = s_records.find(in_uSampleRate);
    if (found != s_records.end())
        return found->second;
    std::vector<uint8_t>& record = s_records[in_uSampleRate];
    const std::string sPath = QwDataPath(MODELED_ROOM);
    QwReverbFit fit;
    std::string sError;
    if (access(sPath.c_str(), R_OK) == 0 && QwFitReverbFile(sPath, nullptr, 16, fit, sError) &&
        fit.uSampleRate == in_uSampleRate)
        record = QwWriteReverbModel(fit.model);
    return record;
}

// Otherwise a medium room: 15 dB in 0.5 s (2 s to fall 60 dB), a brighter low end, 300 ms of early sound.
std::vector<uint8_t> MakeModel(uint32_t in_uSampleRate, const char* in_pszPreset)
{
    if (std::strcmp(in_pszPreset, "small-shop") == 0 && !ModeledRoom(in_uSampleRate).empty())
        return ModeledRoom(in_uSampleRate);
    QwReverbModel model = QwSyntheticReverbModel(in_uSampleRate, 300.0f);
    model.fDecayTime = 0.5f;
    model.fLowMultiplier = 1.3f;
    model.fHighMultiplier = 0.6f;
    model.fModelGain = 0.5f;
    return QwWriteReverbModel(model);
}

} // namespace

extern const QwEffectMeta g_qwReverbMeta = {
    2, "reverb", s_aParams, sizeof(s_aParams) / sizeof(s_aParams[0]), 60, &s_demo, s_aBench,
    sizeof(s_aBench) / sizeof(s_aBench[0]), &MakeModel,
};
