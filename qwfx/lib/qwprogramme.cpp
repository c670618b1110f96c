#include "qwfx/lib/qwprogramme.h"
#include <cmath>

namespace {

const double PI = 3.14159265358979323846;

// Small, fixed generator: the programmes must be identical on every machine.
class Noise
{
public:
    explicit Noise(uint32_t in_uSeed) : m_uState(in_uSeed ? in_uSeed : 1u) {}
    // Uniform in [-1, 1).
    float Next()
    {
        m_uState ^= m_uState << 13;
        m_uState ^= m_uState >> 17;
        m_uState ^= m_uState << 5;
        return static_cast<float>(static_cast<double>(m_uState) / 2147483648.0 - 1.0);
    }

private:
    uint32_t m_uState;
};

void AddHits(QwPlanarAudio& io_audio, double in_fStart, double in_fEnd)
{
    const double fRate = io_audio.uSampleRate;
    Noise noise(12345);
    int iHit = 0;
    for (double fTime = in_fStart; fTime < in_fEnd; fTime += 0.25, ++iHit) {
        const size_t uStart = static_cast<size_t>(fTime * fRate);
        const bool bKick = iHit % 2 == 0;
        const size_t uLength = static_cast<size_t>((bKick ? 0.3 : 0.15) * fRate);
        double fPhase = 0.0;
        for (size_t i = 0; i < uLength && uStart + i < io_audio.NumFrames(); ++i) {
            const double t = i / fRate;
            float fSample;
            if (bKick) {
                // Pitch falls from 150 Hz to 50 Hz, as a kick drum's does.
                const double fFrequency = 50.0 + 100.0 * std::exp(-t * 30.0);
                fPhase += 2.0 * PI * fFrequency / fRate;
                fSample = static_cast<float>(0.7 * std::exp(-t * 12.0) * std::sin(fPhase));
            } else {
                fSample = static_cast<float>(0.5 * std::exp(-t * 30.0)) * noise.Next();
            }
            const float fPan = bKick ? 0.5f : (iHit % 4 == 1 ? 0.3f : 0.7f);
            io_audio.channels[0][uStart + i] += fSample * std::sqrt(1.0f - fPan) * 1.2f;
            io_audio.channels[1][uStart + i] += fSample * std::sqrt(fPan) * 1.2f;
        }
    }
}

void AddChord(QwPlanarAudio& io_audio, double in_fStart, double in_fEnd)
{
    const double fRate = io_audio.uSampleRate;
    const double aFrequencies[] = {220.0, 261.63, 329.63, 392.0};
    const size_t uStart = static_cast<size_t>(in_fStart * fRate);
    const size_t uEnd = static_cast<size_t>(in_fEnd * fRate);
    const double fDuration = in_fEnd - in_fStart;
    for (size_t i = uStart; i < uEnd; ++i) {
        const double t = (i - uStart) / fRate;
        const double fEnvelope = std::fmin(1.0, t / 0.05) * std::fmin(1.0, (fDuration - t) / 0.3);
        double fLeft = 0.0;
        double fRight = 0.0;
        for (int n = 0; n < 4; ++n) {
            // A few harmonics each, and a slight detune between the sides for width.
            for (int h = 1; h <= 3; ++h) {
                const double fAmp = 0.06 / h;
                fLeft += fAmp * std::sin(2.0 * PI * aFrequencies[n] * h * t);
                fRight += fAmp * std::sin(2.0 * PI * aFrequencies[n] * h * 1.002 * t + 0.3 * n);
            }
        }
        io_audio.channels[0][i] += static_cast<float>(fEnvelope * fLeft);
        io_audio.channels[1][i] += static_cast<float>(fEnvelope * fRight);
    }
}

void AddSweep(QwPlanarAudio& io_audio, double in_fStart, double in_fEnd)
{
    const double fRate = io_audio.uSampleRate;
    const size_t uStart = static_cast<size_t>(in_fStart * fRate);
    const size_t uEnd = static_cast<size_t>(in_fEnd * fRate);
    const double fDuration = in_fEnd - in_fStart;
    const double fLow = 40.0;
    const double fHigh = 16000.0;
    const double fRatio = std::log(fHigh / fLow);
    for (size_t i = uStart; i < uEnd; ++i) {
        const double t = (i - uStart) / fRate;
        // Exponential sweep: phase is the integral of fLow * exp(t / T * ln(ratio)).
        const double fPhase = 2.0 * PI * fLow * fDuration / fRatio * (std::exp(t / fDuration * fRatio) - 1.0);
        const double fEnvelope = std::fmin(1.0, t / 0.01) * std::fmin(1.0, (fDuration - t) / 0.01);
        const double fPan = t / fDuration;
        const double fSample = 0.5 * fEnvelope * std::sin(fPhase);
        io_audio.channels[0][i] += static_cast<float>(fSample * std::sqrt(1.0 - fPan));
        io_audio.channels[1][i] += static_cast<float>(fSample * std::sqrt(fPan));
    }
}

void AddBursts(QwPlanarAudio& io_audio, double in_fStart, double in_fEnd)
{
    const double fRate = io_audio.uSampleRate;
    Noise left(777);
    Noise right(999);
    const size_t uStart = static_cast<size_t>(in_fStart * fRate);
    const size_t uEnd = static_cast<size_t>(in_fEnd * fRate);
    for (size_t i = uStart; i < uEnd; ++i) {
        const double t = (i - uStart) / fRate;
        // 100 ms on, 100 ms off, louder each time.
        const int iBurst = static_cast<int>(t / 0.2);
        const bool bOn = std::fmod(t, 0.2) < 0.1;
        const float fLevel = bOn ? static_cast<float>(0.1 + 0.08 * iBurst) : 0.0f;
        io_audio.channels[0][i] += fLevel * left.Next();
        io_audio.channels[1][i] += fLevel * right.Next();
    }
}

} // namespace

QwPlanarAudio QwMakeDemoProgramme(uint32_t in_uSampleRate)
{
    QwPlanarAudio audio(in_uSampleRate, 2, static_cast<size_t>(6.5 * in_uSampleRate));
    AddHits(audio, 0.0, 1.5);
    AddChord(audio, 1.5, 3.5);
    AddHits(audio, 2.5, 3.5);
    AddSweep(audio, 3.5, 5.0);
    AddBursts(audio, 5.0, 6.0);
    // Scale to a peak of -3 dBFS so that no effect starts from a clipped input.
    const float fPeak = audio.Peak();
    const float fScale = fPeak > 0.0f ? 0.7079458f / fPeak : 1.0f;
    for (auto& channel : audio.channels)
        for (float& fSample : channel)
            fSample *= fScale;
    return audio;
}

QwPlanarAudio QwMakeBenchProgramme(uint32_t in_uSampleRate, double in_fSeconds, uint32_t in_uChannels)
{
    const size_t uFrames = static_cast<size_t>(in_fSeconds * in_uSampleRate);
    QwPlanarAudio audio(in_uSampleRate, in_uChannels, uFrames);
    for (uint32_t c = 0; c < in_uChannels; ++c) {
        Noise noise(2024u + 17u * c);
        for (size_t i = 0; i < uFrames; ++i) {
            // Level moves between about -40 and -6 dBFS over a few seconds.
            const double t = static_cast<double>(i) / in_uSampleRate;
            const double fLevel = 0.5 * std::pow(10.0, -1.7 * (0.5 + 0.5 * std::sin(2.0 * PI * 0.23 * t + c)));
            audio.channels[c][i] = static_cast<float>(fLevel) * noise.Next();
        }
    }
    return audio;
}
