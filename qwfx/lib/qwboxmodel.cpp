#include "qwfx/lib/qwboxmodel.h"
#include <unistd.h>
#include <climits>
#include <cmath>
#include <cstring>
#include "qwfx/lib/qwaudiofile.h"

namespace {

void PutU32(std::vector<uint8_t>& io_bytes, size_t in_uAt, uint32_t in_uValue)
{
    for (int i = 0; i < 4; ++i)
        io_bytes[in_uAt + i] = static_cast<uint8_t>(in_uValue >> (8 * i));
}

void PutF32(std::vector<uint8_t>& io_bytes, size_t in_uAt, float in_fValue)
{
    uint32_t uBits;
    std::memcpy(&uBits, &in_fValue, 4);
    PutU32(io_bytes, in_uAt, uBits);
}

// One RBJ biquad, run in double over a signal in place.
struct Biquad
{
    double b0, b1, b2, a1, a2;

    static Biquad LowPass(double in_fFreq, double in_fQ, double in_fRate) { return Pass(in_fFreq, in_fQ, in_fRate, false); }
    static Biquad HighPass(double in_fFreq, double in_fQ, double in_fRate) { return Pass(in_fFreq, in_fQ, in_fRate, true); }
    static Biquad Peak(double in_fFreq, double in_fQ, double in_fGainDb, double in_fRate)
    {
        const double A = std::pow(10.0, in_fGainDb / 40.0);
        const double w = 2.0 * M_PI * in_fFreq / in_fRate;
        const double alpha = std::sin(w) / (2.0 * in_fQ);
        const double a0 = 1.0 + alpha / A;
        return {(1.0 + alpha * A) / a0, -2.0 * std::cos(w) / a0, (1.0 - alpha * A) / a0, -2.0 * std::cos(w) / a0,
                (1.0 - alpha / A) / a0};
    }
    void Run(std::vector<double>& io_x) const
    {
        double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
        for (double& v : io_x) {
            const double y = b0 * v + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
            x2 = x1;
            x1 = v;
            y2 = y1;
            y1 = y;
            v = y;
        }
    }

private:
    static Biquad Pass(double in_fFreq, double in_fQ, double in_fRate, bool in_bHigh)
    {
        const double w = 2.0 * M_PI * in_fFreq / in_fRate;
        const double alpha = std::sin(w) / (2.0 * in_fQ);
        const double c = std::cos(w);
        const double a0 = 1.0 + alpha;
        const double b1 = in_bHigh ? -(1.0 + c) : (1.0 - c);
        const double b0 = in_bHigh ? (1.0 + c) / 2.0 : (1.0 - c) / 2.0;
        return {b0 / a0, b1 / a0, b0 / a0, -2.0 * c / a0, (1.0 - alpha) / a0};
    }
};

} // namespace

bool QwPackBoxModel(const std::vector<float>& in_taps, float in_fGainDb, std::vector<uint8_t>& out_blob,
                    std::string& out_sError)
{
    if (in_taps.empty()) {
        out_sError = "the impulse response is empty: a model needs at least one tap";
        return false;
    }
    if (in_taps.size() > QW_BOX_MODEL_MAX_TAPS) {
        out_sError = "the impulse response has " + std::to_string(in_taps.size()) + " taps; a model holds at most " +
                     std::to_string(QW_BOX_MODEL_MAX_TAPS);
        return false;
    }
    out_blob.assign(8 + 4 * in_taps.size(), 0);
    PutF32(out_blob, 0, in_fGainDb);
    PutU32(out_blob, 4, static_cast<uint32_t>(in_taps.size()));
    for (size_t i = 0; i < in_taps.size(); ++i)
        PutF32(out_blob, 8 + 4 * i, in_taps[i]);
    return true;
}

bool QwBoxModelFromFile(const std::string& in_sPath, uint32_t in_uChannel, float in_fGainDb,
                        std::vector<uint8_t>& out_blob, std::string& out_sError)
{
    QwPlanarAudio audio;
    if (!QwReadAudioFile(in_sPath, audio, out_sError))
        return false;
    if (in_uChannel >= audio.NumChannels()) {
        out_sError = "'" + in_sPath + "' has " + std::to_string(audio.NumChannels()) + " channel(s); channel " +
                     std::to_string(in_uChannel) + " does not exist (channels count from 0)";
        return false;
    }
    if (!QwPackBoxModel(audio.channels[in_uChannel], in_fGainDb, out_blob, out_sError)) {
        out_sError = "'" + in_sPath + "': " + out_sError;
        return false;
    }
    return true;
}

std::vector<float> QwSynthCabinet(uint32_t in_uSampleRate, uint32_t in_uTaps)
{
    const double fRate = in_uSampleRate;
    std::vector<double> h(in_uTaps, 0.0);
    if (h.empty())
        return {};
    h[0] = 1.0;
    const Biquad aStages[] = {
        Biquad::HighPass(80.0, 0.54, fRate),     Biquad::HighPass(80.0, 1.31, fRate),
        Biquad::Peak(110.0, 1.5, 6.0, fRate),    Biquad::Peak(1800.0, 1.2, 4.0, fRate),
        Biquad::LowPass(4500.0, 0.54, fRate),    Biquad::LowPass(4500.0, 1.31, fRate),
    };
    for (const Biquad& stage : aStages)
        stage.Run(h);
    // A raised-cosine fade over the last eighth keeps the cut from clicking.
    const size_t uFade = h.size() / 8;
    for (size_t i = 0; i < uFade; ++i)
        h[h.size() - 1 - i] *= 0.5 - 0.5 * std::cos(M_PI * double(i) / double(uFade));
    return std::vector<float>(h.begin(), h.end());
}

float QwUnitEnergyGainDb(const std::vector<float>& in_taps)
{
    double fEnergy = 0.0;
    for (float t : in_taps)
        fEnergy += double(t) * t;
    return fEnergy > 0.0 ? static_cast<float>(-10.0 * std::log10(fEnergy)) : 0.0f;
}

std::string QwDataPath(const std::string& in_sName)
{
    char aPath[PATH_MAX];
    const ssize_t sLength = readlink("/proc/self/exe", aPath, sizeof aPath - 1);
    if (sLength <= 0)
        return "data/" + in_sName;
    std::string sDir(aPath, static_cast<size_t>(sLength));
    sDir.erase(sDir.find_last_of('/') + 1);
    return sDir + "data/" + in_sName;
}
