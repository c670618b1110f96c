// Host-side table of the box modeler (plug-in 7): names, units, nominal ranges, presets, and
// the impulse-response media it needs.
#include <cstring>
#include <unistd.h>
#include "qwfx/lib/qwboxmodel.h"
#include "qwfx/lib/qweffectmeta.h"

namespace {

const QwParamMeta s_params[] = {
    {0, "model", QwParamType::U32, 0.0, "index", 0.0, 0.0, nullptr, 0},
    {1, "mode", QwParamType::U32, 0.0, "", 0.0, 2.0, nullptr, 0},
    {2, "input-gain", QwParamType::F32, 0.0, "dB", -24.0, 24.0, nullptr, 0},
    {3, "output-gain", QwParamType::F32, 0.0, "dB", -24.0, 24.0, nullptr, 0},
    {4, "wet", QwParamType::F32, 100.0, "%", 0.0, 100.0, nullptr, 0},
    {5, "trim", QwParamType::F32, 10.0, "", 0.0, 10.0, nullptr, 0},   // 10 is off; else -5 - 8.5 x trim dB
    {6, "length", QwParamType::F32, 1.0, "", 0.0, 1.0, nullptr, 0},   // fraction of the taps kept
};

const char DEMO_CABINET[] = "bass-combo-a-44k.wav";

// The measured bass combo (from the data folder beside qwfx), trimmed at -73 dB, fully wet,
// 10 dB down since unit energy lifts the bass peaks of a full-range programme.
const QwPresetMeta s_demo = {"bass-combo", "wet=100 trim=8 output-gain=-10"};

// A 2048-tap response: two 1024-frame partitions at the process block of a 3000-frame host,
// four at the 512 of qwfx bench, in stereo and in 5.1.
const QwPresetMeta s_bench[] = {
    {"ir-2048", "wet=100"},
    {"ir-2048-5.1", "layout=5.1 wet=100"},
};

// Media: the measured cabinet for the demo when its file is found, else (and for the bench)
// a synthetic cabinet of 2048 taps; scaled to unit energy either way.
std::vector<uint8_t> MakeMedia(uint32_t in_uSampleRate, const char* in_pszPreset)
{
    std::vector<uint8_t> blob;
    std::string sError;
    if (std::strcmp(in_pszPreset, s_demo.pszName) == 0) {
        const std::string sPath = QwDataPath(DEMO_CABINET);
        if (access(sPath.c_str(), R_OK) == 0 && QwBoxModelFromFile(sPath, 0, 0.0f, blob, sError)) {
            std::vector<float> taps((blob.size() - 8) / 4);
            std::memcpy(taps.data(), blob.data() + 8, 4 * taps.size());
            QwPackBoxModel(taps, QwUnitEnergyGainDb(taps), blob, sError);
            return blob;
        }
    }
    const std::vector<float> taps = QwSynthCabinet(in_uSampleRate, 2048);
    QwPackBoxModel(taps, QwUnitEnergyGainDb(taps), blob, sError);
    return blob;
}

} // namespace

extern const QwEffectMeta g_qwBoxModelerMeta = {
    7, "box-modeler", s_params, sizeof s_params / sizeof s_params[0], 28, &s_demo,
    s_bench, sizeof s_bench / sizeof s_bench[0], MakeMedia};
