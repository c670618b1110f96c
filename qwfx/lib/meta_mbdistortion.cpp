// Host-side table of the multiband distortion (plug-in 9): six groups named by band (low, mid,
// high) and slot (1, 2), and the two cut-offs. Algorithms by number or by name.
#include <string>
#include <vector>
#include "qwfx/lib/meta_distortion.h"
#include "qwfx/lib/qweffectmeta.h"

namespace {

std::vector<QwParamMeta> MakeParams()
{
    // Names must outlive the table: they are built once and kept for the process.
    static std::vector<std::string> s_names;
    static const char* const s_apszBands[3] = {"low", "mid", "high"};
    static const char* const s_apszKinds[6] = {"input-gain", "drive", "character", "mix", "output-gain", "algorithm"};
    s_names.reserve(36);
    for (uint32_t g = 0; g < 6; ++g)
        for (uint32_t k = 0; k < 6; ++k)
            s_names.push_back(std::string(s_apszBands[g / 2]) + "-" + s_apszKinds[k] + std::to_string(g % 2 + 1));
    std::vector<QwParamMeta> params;
    for (uint32_t g = 0; g < 6; ++g) {
        const uint16_t b = static_cast<uint16_t>(6 * g);
        params.push_back({static_cast<uint16_t>(b + 0), s_names[b + 0].c_str(), QwParamType::F32, 0.0, "dB", -24.0, 24.0, nullptr, 0});
        params.push_back({static_cast<uint16_t>(b + 1), s_names[b + 1].c_str(), QwParamType::F32, 5.0, "", 0.0, 10.0, nullptr, 0});
        params.push_back({static_cast<uint16_t>(b + 2), s_names[b + 2].c_str(), QwParamType::F32, 0.5, "", 0.0, 1.0, nullptr, 0});
        params.push_back({static_cast<uint16_t>(b + 3), s_names[b + 3].c_str(), QwParamType::F32, 100.0, "%", 0.0, 100.0, nullptr, 0});
        params.push_back({static_cast<uint16_t>(b + 4), s_names[b + 4].c_str(), QwParamType::F32, 0.0, "dB", -24.0, 24.0, nullptr, 0});
        params.push_back({static_cast<uint16_t>(b + 5), s_names[b + 5].c_str(), QwParamType::U32, 0.0, "", 0.0, 47.0,
                          g_apszDistortionAlgorithmNames, QW_DISTORTION_ALGORITHMS});
    }
    params.push_back({36, "cutoff1", QwParamType::F32, 5000.0, "Hz", 20.0, 20000.0, nullptr, 0});
    params.push_back({37, "cutoff2", QwParamType::F32, 10000.0, "Hz", 20.0, 20000.0, nullptr, 0});
    return params;
}

const std::vector<QwParamMeta> s_params = MakeParams();

// Fuzz on the lows only, a light drive on the mids, the highs left clean.
const QwPresetMeta s_demo = {
    "fat-bottom",
    "cutoff1=250 cutoff2=2500 low-algorithm1=iron-fuzz low-drive1=4 low-output-gain1=-6 "
    "mid-algorithm1=blues-driver mid-drive1=2 mid-output-gain1=-3"};

const QwPresetMeta s_bench[] = {
    {"all-none", "low-algorithm1=none mid-algorithm1=none high-algorithm1=none"},
    {"one-per-band", "low-algorithm1=amp-drainer mid-algorithm1=hard-limits high-algorithm1=tape-saturation"},
    {"six-slots", "low-algorithm1=amp-drainer low-algorithm2=tube-drainer mid-algorithm1=hard-limits "
                  "mid-algorithm2=citrus-pulp high-algorithm1=bit-wrench high-algorithm2=tape-saturation"},
};

} // namespace

extern const QwEffectMeta g_qwMultibandDistortionMeta = {
    9,        "multiband-distortion", s_params.data(), static_cast<uint32_t>(s_params.size()), 152, &s_demo,
    s_bench, sizeof s_bench / sizeof s_bench[0], nullptr,
};
