#include "qwfx/lib/qwroomacoustics.h"
#include <algorithm>
#include <cmath>
#include <limits>

const double QW_OCTAVE_CENTRES[QW_OCTAVE_COUNT] = {125.0, 250.0, 500.0, 1000.0, 2000.0, 4000.0, 8000.0};

namespace {

// A second-order section of a Butterworth filter, bilinear with the cutoff prewarped.
struct Section
{
    double b0, b1, b2, a1, a2;

    Section(double in_fCutoff, double in_fQ, double in_fRate, bool in_bHigh)
    {
        const double w = 2.0 * M_PI * std::min(in_fCutoff, 0.49 * in_fRate) / in_fRate;
        const double alpha = std::sin(w) / (2.0 * in_fQ);
        const double c = std::cos(w);
        const double a0 = 1.0 + alpha;
        const double fNum = in_bHigh ? (1.0 + c) / 2.0 : (1.0 - c) / 2.0;
        b0 = fNum / a0;
        b1 = (in_bHigh ? -2.0 : 2.0) * fNum / a0;
        b2 = fNum / a0;
        a1 = -2.0 * c / a0;
        a2 = (1.0 - alpha) / a0;
    }

    void Run(std::vector<double>& io_x) const
    {
        double s1 = 0.0, s2 = 0.0; // transposed direct form II
        for (double& v : io_x) {
            const double y = b0 * v + s1;
            s1 = b1 * v - a1 * y + s2;
            s2 = b2 * v - a2 * y;
            v = y;
        }
    }
};

// Pole-pair quality factors of an eighth-order Butterworth filter, 1 / (2 cos((2k - 1) pi / 16)).
// Eighth order keeps a neighbouring octave 24 dB down at its centre, so that a band's slower
// neighbour does not lengthen its late decay.
const double BUTTERWORTH8_Q[4] = {0.50979557910415918, 0.60134488693504529, 0.89997622313641570,
                                  2.5629154477415062};

// Least-squares slope, in units per sample, of y[from .. to].
double Slope(const std::vector<double>& in_y, size_t in_uFrom, size_t in_uTo)
{
    const double n = static_cast<double>(in_uTo - in_uFrom + 1);
    const double fMeanX = 0.5 * (n - 1.0);
    double fMeanY = 0.0;
    for (size_t i = in_uFrom; i <= in_uTo; ++i)
        fMeanY += in_y[i];
    fMeanY /= n;
    double fSxy = 0.0, fSxx = 0.0;
    for (size_t i = in_uFrom; i <= in_uTo; ++i) {
        const double dx = static_cast<double>(i - in_uFrom) - fMeanX;
        fSxy += dx * (in_y[i] - fMeanY);
        fSxx += dx * dx;
    }
    return fSxx > 0.0 ? fSxy / fSxx : std::numeric_limits<double>::quiet_NaN();
}

} // namespace

std::vector<double> QwOctaveBandPass(const std::vector<double>& in_x, double in_fRate, double in_fCentre)
{
    // Run backward in time, so that the filter's own ringing falls ahead of the response's
    // onset instead of lengthening its early decay.
    std::vector<double> y(in_x.rbegin(), in_x.rend());
    for (double fQ : BUTTERWORTH8_Q)
        Section(in_fCentre / M_SQRT2, fQ, in_fRate, true).Run(y);
    for (double fQ : BUTTERWORTH8_Q)
        Section(in_fCentre * M_SQRT2, fQ, in_fRate, false).Run(y);
    std::reverse(y.begin(), y.end());
    return y;
}

size_t QwNoiseFloorCut(const std::vector<double>& in_energy, double in_fRate)
{
    const size_t n = in_energy.size();
    const size_t uBlock = std::max<size_t>(1, static_cast<size_t>(std::lround(0.02 * in_fRate)));
    const size_t uBlocks = n / uBlock;
    if (uBlocks < 2)
        return n;
    std::vector<double> means(uBlocks, 0.0);
    for (size_t b = 0; b < uBlocks; ++b) {
        for (size_t i = b * uBlock; i < (b + 1) * uBlock; ++i)
            means[b] += in_energy[i];
        means[b] /= static_cast<double>(uBlock);
    }
    const size_t uTail = n - n / 10;
    double fFloor = 0.0;
    for (size_t i = uTail; i < n; ++i)
        fFloor += in_energy[i];
    fFloor /= static_cast<double>(std::max<size_t>(1, n - uTail));
    const size_t uPeak = static_cast<size_t>(std::max_element(means.begin(), means.end()) - means.begin());
    for (size_t b = uPeak + 1; b < uBlocks; ++b)
        if (means[b] <= fFloor)
            return b * uBlock;
    return n;
}

std::vector<double> QwSchroederDb(const std::vector<double>& in_energy, size_t in_uFrom, size_t in_uTo)
{
    std::vector<double> edc(in_uTo > in_uFrom ? in_uTo - in_uFrom : 0);
    double fSum = 0.0;
    for (size_t i = edc.size(); i-- > 0;) {
        fSum += in_energy[in_uFrom + i];
        edc[i] = fSum;
    }
    const double fTotal = fSum;
    for (double& v : edc)
        v = fTotal > 0.0 && v > 0.0 ? 10.0 * std::log10(v / fTotal) : -std::numeric_limits<double>::infinity();
    return edc;
}

double QwDecayTime(const std::vector<double>& in_edcDb, double in_fRate, double in_fFromDb, double in_fToDb)
{
    const auto itFrom = std::find_if(in_edcDb.begin(), in_edcDb.end(), [&](double v) { return v <= in_fFromDb; });
    const auto itTo = std::find_if(itFrom, in_edcDb.end(), [&](double v) { return v <= in_fToDb; });
    if (itTo == in_edcDb.end() || !std::isfinite(*itTo) || itTo == itFrom)
        return std::numeric_limits<double>::quiet_NaN();
    const double fSlope = Slope(in_edcDb, static_cast<size_t>(itFrom - in_edcDb.begin()),
                                static_cast<size_t>(itTo - in_edcDb.begin()));
    return fSlope < 0.0 ? -60.0 / (fSlope * in_fRate) : std::numeric_limits<double>::quiet_NaN();
}

QwBandDecay QwAnalyseOctave(const QwPlanarAudio& in_audio, double in_fCentre)
{
    QwBandDecay band;
    band.fCentre = in_fCentre;
    const double fRate = in_audio.uSampleRate;
    std::vector<double> energy(in_audio.NumFrames(), 0.0);
    for (const std::vector<float>& channel : in_audio.channels) {
        const std::vector<double> y = QwOctaveBandPass(std::vector<double>(channel.begin(), channel.end()), fRate,
                                                       in_fCentre);
        for (size_t i = 0; i < y.size(); ++i)
            energy[i] += y[i] * y[i];
    }
    band.uCut = QwNoiseFloorCut(energy, fRate);
    // The decay starts at the band's arrival: the first sample within 20 dB of its peak.
    const double fPeak = energy.empty() ? 0.0 : *std::max_element(energy.begin(), energy.begin() + band.uCut);
    while (band.uOnset < band.uCut && energy[band.uOnset] < 0.01 * fPeak)
        ++band.uOnset;
    band.edcDb = QwSchroederDb(energy, band.uOnset, band.uCut);
    band.fT30 = QwDecayTime(band.edcDb, fRate, -5.0, -35.0);
    band.fEdt = QwDecayTime(band.edcDb, fRate, 0.0, -10.0);
    return band;
}

std::vector<QwBandDecay> QwAnalyseOctaves(const QwPlanarAudio& in_audio)
{
    std::vector<QwBandDecay> bands;
    for (double fCentre : QW_OCTAVE_CENTRES)
        if (fCentre * M_SQRT2 < 0.5 * in_audio.uSampleRate)
            bands.push_back(QwAnalyseOctave(in_audio, fCentre));
    return bands;
}
