#include "qwfx/lib/qwdecaysvg.h"
#include <algorithm>
#include <cmath>
#include <sstream>

namespace {

const double PANEL_W = 280.0, PANEL_H = 210.0;
const double PLOT_X = 46.0, PLOT_Y = 28.0, PLOT_W = 218.0, PLOT_H = 150.0;
const double FLOOR_DB = -70.0;
const int COLUMNS = 4;
const int CURVE_POINTS = 400;

std::string Escape(const std::string& in_s)
{
    std::string out;
    for (char c : in_s)
        out += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
    return out;
}

std::string Seconds(double in_f)
{
    if (!std::isfinite(in_f))
        return "-";
    std::ostringstream text;
    text.precision(2);
    text << std::fixed << in_f << " s";
    return text.str();
}

// A decay curve from its onset, as a polyline in panel coordinates; values below the floor
// stay on it.
void Curve(std::ostringstream& io_svg, const std::vector<double>& in_edcDb, double in_fRate, double in_fSpan,
           const char* in_pszStyle)
{
    const size_t uLast = std::min(in_edcDb.size(), static_cast<size_t>(in_fSpan * in_fRate));
    if (uLast < 2)
        return;
    io_svg << "<polyline fill=\"none\" " << in_pszStyle << " points=\"";
    const size_t uStep = std::max<size_t>(1, uLast / CURVE_POINTS);
    for (size_t i = 0; i < uLast; i += uStep) {
        const double fDb = std::isfinite(in_edcDb[i]) ? std::max(in_edcDb[i], FLOOR_DB) : FLOOR_DB;
        io_svg << PLOT_X + PLOT_W * (static_cast<double>(i) / in_fRate) / in_fSpan << ','
               << PLOT_Y + PLOT_H * fDb / FLOOR_DB << ' ';
    }
    io_svg << "\"/>\n";
}

} // namespace

std::string QwDecayCurvesSvg(const std::string& in_sTitle, double in_fRate, const std::vector<QwBandDecay>& in_measured,
                             const std::vector<QwBandDecay>& in_model)
{
    // One time span for every panel: the longest measured decay, to the next tenth of a second.
    double fSpan = 0.1;
    for (const QwBandDecay& band : in_measured)
        fSpan = std::max(fSpan, std::ceil(10.0 * static_cast<double>(band.edcDb.size()) / in_fRate) / 10.0);
    const int iRows = static_cast<int>((in_measured.size() + COLUMNS - 1) / COLUMNS);
    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << COLUMNS * PANEL_W << "\" height=\""
        << 40 + iRows * PANEL_H << "\" font-family=\"sans-serif\" font-size=\"11\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"10\" y=\"18\" font-size=\"14\">" << Escape(in_sTitle) << "</text>\n"
        << "<text x=\"10\" y=\"34\"><tspan fill=\"#1f5fbf\">measured</tspan>, "
        << "<tspan fill=\"#c03020\">model replayed by the reverb</tspan>: energy decay (Schroeder) in dB "
        << "against seconds from the band's onset</text>\n";
    for (size_t b = 0; b < in_measured.size(); ++b) {
        const QwBandDecay& measured = in_measured[b];
        const QwBandDecay* pModel = nullptr;
        for (const QwBandDecay& band : in_model)
            if (band.fCentre == measured.fCentre)
                pModel = &band;
        svg << "<g transform=\"translate(" << (b % COLUMNS) * PANEL_W << ',' << 40 + (b / COLUMNS) * PANEL_H << ")\">\n"
            << "<rect x=\"" << PLOT_X << "\" y=\"" << PLOT_Y << "\" width=\"" << PLOT_W << "\" height=\"" << PLOT_H
            << "\" fill=\"none\" stroke=\"#888\"/>\n";
        for (int iDb = -10; iDb > FLOOR_DB; iDb -= 10)
            svg << "<line x1=\"" << PLOT_X << "\" x2=\"" << PLOT_X + PLOT_W << "\" y1=\"" << PLOT_Y + PLOT_H * iDb / FLOOR_DB
                << "\" y2=\"" << PLOT_Y + PLOT_H * iDb / FLOOR_DB << "\" stroke=\"#ddd\"/>\n";
        for (int iDb = 0; iDb >= FLOOR_DB; iDb -= 20)
            svg << "<text x=\"" << PLOT_X - 4 << "\" y=\"" << PLOT_Y + PLOT_H * iDb / FLOOR_DB + 4
                << "\" text-anchor=\"end\">" << iDb << "</text>\n";
        svg << "<text x=\"" << PLOT_X << "\" y=\"" << PLOT_Y + PLOT_H + 14 << "\">0</text>\n"
            << "<text x=\"" << PLOT_X + PLOT_W << "\" y=\"" << PLOT_Y + PLOT_H + 14 << "\" text-anchor=\"end\">"
            << fSpan << " s</text>\n"
            << "<text x=\"" << PLOT_X << "\" y=\"" << PLOT_Y - 14 << "\" font-weight=\"bold\">" << measured.fCentre
            << " Hz</text>\n"
            << "<text x=\"" << PLOT_X << "\" y=\"" << PLOT_Y - 3 << "\">T30 " << Seconds(measured.fT30) << " / "
            << (pModel ? Seconds(pModel->fT30) : "-") << ", EDT " << Seconds(measured.fEdt) << " / "
            << (pModel ? Seconds(pModel->fEdt) : "-") << "</text>\n";
        Curve(svg, measured.edcDb, in_fRate, fSpan, "stroke=\"#1f5fbf\" stroke-width=\"1.5\"");
        if (pModel)
            Curve(svg, pModel->edcDb, in_fRate, fSpan, "stroke=\"#c03020\" stroke-width=\"1.5\" stroke-dasharray=\"5,3\"");
        svg << "</g>\n";
    }
    svg << "</svg>\n";
    return svg.str();
}
