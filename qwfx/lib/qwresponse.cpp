#include "qwfx/lib/qwresponse.h"
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>

std::vector<double> QwLogFrequencies(double in_fLow, double in_fHigh, uint32_t in_uPerOctave)
{
    std::vector<double> frequencies;
    if (in_fLow <= 0.0 || in_fHigh < in_fLow || in_uPerOctave == 0)
        return frequencies;
    const double fSteps = std::log2(in_fHigh / in_fLow) * in_uPerOctave;
    const uint32_t uSteps = static_cast<uint32_t>(std::floor(fSteps + 1e-9));
    for (uint32_t i = 0; i <= uSteps; ++i)
        frequencies.push_back(in_fLow * std::exp2(static_cast<double>(i) / in_uPerOctave));
    return frequencies;
}

std::vector<QwResponsePoint> QwMagnitudeResponse(const std::vector<float>& in_impulseResponse,
                                                 uint32_t in_uSampleRate, const std::vector<double>& in_frequencies)
{
    std::vector<QwResponsePoint> points;
    const double pi = 3.14159265358979323846;
    for (double f : in_frequencies) {
        // The rotation is advanced by multiplication, renormalised now and then against drift.
        const std::complex<double> step = std::polar(1.0, -2.0 * pi * f / in_uSampleRate);
        std::complex<double> rotation = 1.0, sum = 0.0;
        for (size_t n = 0; n < in_impulseResponse.size(); ++n) {
            sum += static_cast<double>(in_impulseResponse[n]) * rotation;
            rotation *= step;
            if ((n & 1023) == 1023)
                rotation /= std::abs(rotation);
        }
        const double fMagnitude = std::abs(sum);
        points.push_back({f, fMagnitude > 0.0 ? 20.0 * std::log10(fMagnitude) : -300.0});
    }
    return points;
}

std::string QwResponseSvg(const std::vector<QwResponsePoint>& in_points, const std::string& in_sTitle)
{
    const double W = 800, H = 420, L = 60, R = 20, T = 36, B = 44;
    double fLow = in_points.empty() ? 20.0 : in_points.front().fFrequency;
    double fHigh = in_points.empty() ? 20000.0 : in_points.back().fFrequency;
    if (fHigh <= fLow)
        fHigh = fLow * 2.0;
    // The dB axis: 12 dB steps around the curve, at least -48 to +12, at most 120 dB below the top.
    double fTop = 12.0, fBottom = -48.0;
    for (const QwResponsePoint& p : in_points) {
        fTop = std::max(fTop, std::ceil(p.fGainDb / 12.0) * 12.0);
        fBottom = std::min(fBottom, std::floor(p.fGainDb / 12.0) * 12.0);
    }
    fBottom = std::max(fBottom, fTop - 120.0);
    auto x = [&](double f) { return L + (W - L - R) * std::log(f / fLow) / std::log(fHigh / fLow); };
    auto y = [&](double db) {
        return T + (H - T - B) * (fTop - std::clamp(db, fBottom, fTop)) / (fTop - fBottom);
    };
    std::string svg;
    char line[256];
    std::snprintf(line, sizeof line,
                  "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%g\" height=\"%g\" "
                  "font-family=\"sans-serif\" font-size=\"12\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n",
                  W, H);
    svg += line;
    std::string sTitle;
    for (char c : in_sTitle)
        sTitle += c == '<' ? std::string("&lt;") : c == '&' ? std::string("&amp;") : std::string(1, c);
    svg += "<text x=\"" + std::to_string(static_cast<int>(L)) + "\" y=\"22\">" + sTitle + "</text>\n";
    for (double fDecade = 1.0; fDecade <= fHigh; fDecade *= 10.0)
        for (int m = 1; m < 10; ++m) {
            const double f = fDecade * m;
            if (f < fLow || f > fHigh)
                continue;
            std::snprintf(line, sizeof line, "<line x1=\"%.1f\" y1=\"%g\" x2=\"%.1f\" y2=\"%g\" stroke=\"%s\"/>\n",
                          x(f), T, x(f), H - B, m == 1 ? "#999" : "#e4e4e4");
            svg += line;
            if (m == 1) {
                std::snprintf(line, sizeof line, "<text x=\"%.1f\" y=\"%g\" text-anchor=\"middle\">%g%s</text>\n",
                              x(f), H - B + 16, f >= 1000.0 ? f / 1000.0 : f, f >= 1000.0 ? "k" : "");
                svg += line;
            }
        }
    for (double db = fBottom; db <= fTop + 1e-9; db += 12.0) {
        std::snprintf(line, sizeof line,
                      "<line x1=\"%g\" y1=\"%.1f\" x2=\"%g\" y2=\"%.1f\" stroke=\"%s\"/>\n"
                      "<text x=\"%g\" y=\"%.1f\" text-anchor=\"end\">%g</text>\n",
                      L, y(db), W - R, y(db), db == 0.0 ? "#999" : "#e4e4e4", L - 6, y(db) + 4, db);
        svg += line;
    }
    std::snprintf(line, sizeof line,
                  "<text x=\"%g\" y=\"%g\" text-anchor=\"middle\">Hz</text>\n"
                  "<text x=\"14\" y=\"%g\" transform=\"rotate(-90 14 %g)\" text-anchor=\"middle\">dB</text>\n",
                  (L + W - R) / 2, H - 8, (T + H - B) / 2, (T + H - B) / 2);
    svg += line;
    svg += "<polyline fill=\"none\" stroke=\"#c0392b\" stroke-width=\"2\" points=\"";
    for (const QwResponsePoint& p : in_points) {
        std::snprintf(line, sizeof line, "%.1f,%.1f ", x(p.fFrequency), y(p.fGainDb));
        svg += line;
    }
    svg += "\"/>\n</svg>\n";
    return svg;
}
