// Room-acoustic measures of an impulse response, in double precision: octave-band filtering,
// the cut where a response sinks into its noise floor, the Schroeder backward integral, and
// decay times from line fits to it (T30 over -5..-35 dB, EDT over 0..-10 dB).
#pragma once
#include <cstddef>
#include <vector>
#include "qwfx/lib/qwplanaraudio.h"

enum : size_t { QW_OCTAVE_COUNT = 7 };
// 125 Hz to 8 kHz.
extern const double QW_OCTAVE_CENTRES[QW_OCTAVE_COUNT];

// One octave around in_fCentre: an eighth-order Butterworth high-pass at centre / sqrt 2, then
// an eighth-order Butterworth low-pass at centre x sqrt 2 (bilinear, prewarped at each edge).
std::vector<double> QwOctaveBandPass(const std::vector<double>& in_x, double in_fRate, double in_fCentre);

// How much of an energy signal to keep: up to where its 20 ms block means, after the peak
// block, first fall to the noise floor, taken as the mean energy of the last tenth. The
// whole length when they never do.
size_t QwNoiseFloorCut(const std::vector<double>& in_energy, double in_fRate);

// Schroeder backward integral of in_energy[in_uFrom .. in_uTo), in dB re the total: 0 dB at
// the first sample, -inf once nothing is left.
std::vector<double> QwSchroederDb(const std::vector<double>& in_energy, size_t in_uFrom, size_t in_uTo);

// Seconds to fall 60 dB, from a least-squares line through the decay curve between the first
// samples at or below in_fFromDb and at or below in_fToDb; NaN when it never reaches in_fToDb.
double QwDecayTime(const std::vector<double>& in_edcDb, double in_fRate, double in_fFromDb, double in_fToDb);

// One octave of a response, all channels' band energies summed: its decay curve from the
// band's onset (the first sample within 20 dB of the band's peak) to its noise-floor cut.
struct QwBandDecay
{
    double fCentre = 0.0;
    size_t uOnset = 0;
    size_t uCut = 0;
    std::vector<double> edcDb;
    double fT30 = 0.0; // NaN when the curve does not reach -35 dB
    double fEdt = 0.0;
};

QwBandDecay QwAnalyseOctave(const QwPlanarAudio& in_audio, double in_fCentre);
std::vector<QwBandDecay> QwAnalyseOctaves(const QwPlanarAudio& in_audio);
