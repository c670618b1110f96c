#include "qwfx/lib/qwreverbmodel.h"
#include <cmath>
#include <cstring>
#include <random>

namespace {
void PutU32(std::vector<uint8_t>& io_out, uint32_t in_u)
{
    for (int b = 0; b < 4; ++b)
        io_out.push_back(static_cast<uint8_t>(in_u >> (8 * b)));
}

void PutF32(std::vector<uint8_t>& io_out, float in_f)
{
    uint32_t u;
    std::memcpy(&u, &in_f, sizeof u);
    PutU32(io_out, u);
}
} // namespace

std::vector<uint8_t> QwWriteReverbModel(const QwReverbModel& in_model)
{
    if (in_model.afEqualiser[0].size() != in_model.afEqualiser[1].size() ||
        in_model.afEarly[0].size() != in_model.afEarly[1].size())
        return {};
    std::vector<uint8_t> out;
    out.reserve(36 + 8 * (in_model.afEqualiser[0].size() + in_model.afEarly[0].size()));
    for (float f : {in_model.fDecayTime, in_model.fLowCrossover, in_model.fHighCrossover, in_model.fLowMultiplier,
                    in_model.fMidMultiplier, in_model.fHighMultiplier, in_model.fModelGain})
        PutF32(out, f);
    PutU32(out, static_cast<uint32_t>(in_model.afEqualiser[0].size()));
    for (const auto& channel : in_model.afEqualiser)
        for (float f : channel)
            PutF32(out, f);
    PutU32(out, static_cast<uint32_t>(in_model.afEarly[0].size()));
    for (const auto& channel : in_model.afEarly)
        for (float f : channel)
            PutF32(out, f);
    return out;
}

QwReverbModel QwSyntheticReverbModel(uint32_t in_uSampleRate, float in_fEarlyMs, uint32_t in_uSeed)
{
    QwReverbModel model;
    model.afEqualiser[0] = {1.0f};
    model.afEqualiser[1] = {1.0f};
    const size_t uLength = static_cast<size_t>(std::lround(in_fEarlyMs * 0.001 * in_uSampleRate));
    std::mt19937 rng(in_uSeed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int c = 0; c < 2; ++c) {
        std::vector<float>& early = model.afEarly[c];
        early.assign(uLength, 0.0f);
        if (uLength == 0)
            continue;
        // Reflections grow denser with time and fade, as in a small room; the first arrives
        // a few milliseconds in.
        const double fTau = uLength / 3.0;
        const size_t uFirst = std::min(uLength - 1, static_cast<size_t>(0.004 * in_uSampleRate));
        for (size_t t = uFirst; t < uLength; ++t) {
            const double fDensity = 0.002 + 0.05 * static_cast<double>(t) / uLength;
            if (unit(rng) < fDensity) {
                const float fSign = unit(rng) < 0.5f ? -1.0f : 1.0f;
                early[t] += fSign * static_cast<float>(0.5 * std::exp(-static_cast<double>(t) / fTau)) * unit(rng);
            }
        }
        early[uFirst] = 0.6f;
    }
    return model;
}
