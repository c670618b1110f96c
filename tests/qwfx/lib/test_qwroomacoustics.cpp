// The room-acoustics measures against closed forms: the octave filter against the bilinear
// Butterworth magnitude, the Schroeder integral of a pure exponential, and T30 and EDT of
// decaying band noise whose decay is set per octave.
#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include "kvdspbase/dsp/fft.h"
#include "qwfx/lib/qwroomacoustics.h"
#include "support/testhost.h"

namespace {

// Steady-state gain in dB of the octave filter at in_fFreq, from a sine's correlation over half
// a second with a second of settling on either side.
double MeasuredGainDb(double in_fRate, double in_fCentre, double in_fFreq)
{
    const size_t uSettle = static_cast<size_t>(in_fRate), uMeasure = static_cast<size_t>(in_fRate / 2);
    std::vector<double> x(2 * uSettle + uMeasure);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = std::sin(2.0 * M_PI * in_fFreq * static_cast<double>(i) / in_fRate);
    const std::vector<double> y = QwOctaveBandPass(x, in_fRate, in_fCentre);
    double fSin = 0.0, fCos = 0.0;
    for (size_t i = uSettle; i < uSettle + uMeasure; ++i) {
        fSin += y[i] * std::sin(2.0 * M_PI * in_fFreq * static_cast<double>(i) / in_fRate);
        fCos += y[i] * std::cos(2.0 * M_PI * in_fFreq * static_cast<double>(i) / in_fRate);
    }
    return 20.0 * std::log10(2.0 / static_cast<double>(uMeasure) * std::hypot(fSin, fCos));
}

} // namespace

TEST(QwRoomAcoustics, OctaveFilterHasTheBilinearButterworthMagnitude)
{
    // An eighth-order Butterworth made by the prewarped bilinear transform has
    // |H|^2 = 1 / (1 + (tan(pi f / fs) / tan(pi fc / fs))^16) as low-pass, the ratio inverted as
    // high-pass; the octave is the product of both.
    struct Case
    {
        double fRate, fCentre, fFreq;
    };
    const Case aCases[] = {{48000, 1000, 1000}, {48000, 1000, 707.1}, {48000, 1000, 1414.2}, {48000, 1000, 300},
                           {48000, 125, 125},   {44100, 8000, 8000},  {44100, 8000, 13000},  {48000, 250, 1000}};
    for (const Case& c : aCases) {
        const double t = std::tan(M_PI * c.fFreq / c.fRate);
        const double tHigh = std::tan(M_PI * c.fCentre / M_SQRT2 / c.fRate);
        const double tLow = std::tan(M_PI * c.fCentre * M_SQRT2 / c.fRate);
        const double fExpected =
            -10.0 * std::log10((1.0 + std::pow(tHigh / t, 16.0)) * (1.0 + std::pow(t / tLow, 16.0)));
        // 0.02 dB: the correlation over half a second of a sine that does not fill it exactly.
        EXPECT_NEAR(MeasuredGainDb(c.fRate, c.fCentre, c.fFreq), fExpected, 0.02)
            << c.fCentre << " Hz octave at " << c.fFreq << " Hz, " << c.fRate << " Hz";
    }
}

TEST(QwRoomAcoustics, SchroederCurveOfAPureExponentialIsAStraightLine)
{
    // e[i] = r^i sums backward to (r^i - r^n) / (1 - r^n), which for r^n far below r^i is a
    // line of 10 log10(r) dB a sample. T60 = 0.8 s at 48 kHz: r = 10^(-6 / (0.8 x 48000)).
    const double fRate = 48000.0, fT60 = 0.8;
    const double r = std::pow(10.0, -6.0 / (fT60 * fRate));
    std::vector<double> energy(4 * 48000);
    for (size_t i = 0; i < energy.size(); ++i)
        energy[i] = std::pow(r, static_cast<double>(i));
    const std::vector<double> edc = QwSchroederDb(energy, 0, energy.size());
    for (size_t i = 0; i < 2 * 48000; i += 997)
        EXPECT_NEAR(edc[i], 10.0 * std::log10(r) * static_cast<double>(i), 1e-6) << i;
    EXPECT_NEAR(QwDecayTime(edc, fRate, -5.0, -35.0), fT60, 1e-6);
    EXPECT_NEAR(QwDecayTime(edc, fRate, 0.0, -10.0), fT60, 1e-6);
    // At 22.05 kHz the 8 kHz octave reaches past half the rate (11314 Hz) and is left out.
    EXPECT_EQ(QwAnalyseOctaves(QwPlanarAudio(22050, 1, 11025)).size(), QW_OCTAVE_COUNT - 1);
    // A curve that never reaches -35 dB has no T30.
    EXPECT_TRUE(std::isnan(QwDecayTime(std::vector<double>(edc.begin(), edc.begin() + 4800), fRate, -5.0, -35.0)));
}

TEST(QwRoomAcoustics, DecayingBandNoiseGivesItsT60PerOctaveAboveANoiseFloor)
{
    // Octaves of noise, each decaying at its own T60, over a white floor from 55 dB (8 kHz) to
    // 73 dB (125 Hz) under the band's start; every other octave at a time, so that no band
    // leaks into a neighbour that is being measured. A band's noise has random spectrum lines
    // over its middle two thirds of an octave and none elsewhere (an inverse FFT), on eight
    // channels. T30 must find each T60 within 5 %; EDT, which sees only the first 10 dB (a sixth
    // of T60) where band noise has few independent values, within 12 %.
    TestHost host;
    const double fRate = 48000.0;
    const double afT60[QW_OCTAVE_COUNT] = {1.4, 1.2, 1.0, 0.8, 0.6, 0.45, 0.3};
    const size_t n = static_cast<size_t>(2.0 * fRate);
    const uint32_t FFT_SIZE = 1u << 17;
    Fft fft;
    ASSERT_TRUE(fft.InitReal(FFT_SIZE));
    std::vector<float> spectrum(FFT_SIZE + 2), noise(FFT_SIZE);
    std::mt19937 rng(7);
    std::normal_distribution<float> gauss(0.0f, 1.0f);
    for (size_t uFirst : {0, 1}) {
        QwPlanarAudio audio(48000, 8, n);
        for (auto& channel : audio.channels) {
            for (size_t i = 0; i < n; ++i)
                channel[i] = 2e-3f * gauss(rng);
            for (size_t b = uFirst; b < QW_OCTAVE_COUNT; b += 2) {
                std::fill(spectrum.begin(), spectrum.end(), 0.0f);
                const double fBin = fRate / FFT_SIZE;
                for (size_t k = static_cast<size_t>(QW_OCTAVE_CENTRES[b] * std::pow(2.0, -1.0 / 3.0) / fBin);
                     k <= static_cast<size_t>(QW_OCTAVE_CENTRES[b] * std::pow(2.0, 1.0 / 3.0) / fBin); ++k) {
                    spectrum[2 * k] = gauss(rng);
                    spectrum[2 * k + 1] = gauss(rng);
                }
                fft.InverseReal(spectrum.data(), noise.data());
                double fPower = 0.0;
                for (float v : noise)
                    fPower += double(v) * v / FFT_SIZE;
                for (size_t i = 0; i < n; ++i)
                    channel[i] += static_cast<float>(0.5 / std::sqrt(fPower) * noise[i] *
                                                     std::pow(10.0, -3.0 * static_cast<double>(i) / (afT60[b] * fRate)));
            }
        }
        const std::vector<QwBandDecay> bands = QwAnalyseOctaves(audio);
        ASSERT_EQ(bands.size(), QW_OCTAVE_COUNT);
        for (size_t b = uFirst; b < QW_OCTAVE_COUNT; b += 2) {
            EXPECT_NEAR(bands[b].fT30, afT60[b], 0.05 * afT60[b]) << bands[b].fCentre << " Hz";
            EXPECT_NEAR(bands[b].fEdt, afT60[b], 0.12 * afT60[b]) << bands[b].fCentre << " Hz";
            // The floor is cut off: the curve ends before the whole length in every band.
            EXPECT_LT(bands[b].uCut, n) << bands[b].fCentre << " Hz";
        }
    }
}
