// Magnitude response of an effect measured from its impulse response, and its drawing as an
// SVG plot on a logarithmic frequency axis.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

struct QwResponsePoint
{
    double fFrequency; // Hz
    double fGainDb;
};

// Frequencies from in_fLow to in_fHigh (both included when in_fHigh lies on the grid),
// in_uPerOctave to the octave, geometrically spaced.
std::vector<double> QwLogFrequencies(double in_fLow, double in_fHigh, uint32_t in_uPerOctave);

// |DFT| of the impulse response at each frequency, in dB; -300 dB for exact silence.
std::vector<QwResponsePoint> QwMagnitudeResponse(const std::vector<float>& in_impulseResponse,
                                                 uint32_t in_uSampleRate, const std::vector<double>& in_frequencies);

// A self-contained SVG document: the curve over a log-frequency axis with decade and dB grids.
std::string QwResponseSvg(const std::vector<QwResponsePoint>& in_points, const std::string& in_sTitle);
