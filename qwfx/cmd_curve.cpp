// qwfx curve ALGORITHM [--drive D] [--character C] [--svg FILE]: the static transfer curve of
// one distortion algorithm (input -1.5 to 1.5, Mix 100, gains 0 dB), as two columns or an SVG
// plot; "all" with --svg draws the sheet of all 48 curves that qwfx demo also writes. Runs the
// engine in-process.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>
#include "qwfx/lib/meta_distortion.h"
#include "qwfx/lib/qwassertlog.h"
#include "qwfx/qwfxcli.h"
#include "shareddsp/distortions/skreldistortion/distortion_algorithm_info.h"
#include "shareddsp/distortions/skreldistortion/distortion_dsp.h"

namespace {

const int CURVE_POINTS = 601;
const double CURVE_X = 1.5;
// Each input is held for a few samples so that the moving averages of the digital
// algorithms settle on it: the curve is the static one.
const uint32_t HOLD_SAMPLES = 32;

struct Curve
{
    uint32_t uAlgorithm;
    float fDrive;
    float fCharacter;
    std::vector<double> x, y;
};

Curve ComputeCurve(uint32_t in_uAlgorithm, float in_fDrive, float in_fCharacter)
{
    Curve curve{in_uAlgorithm, in_fDrive, in_fCharacter, {}, {}};
    DistortionDsp dsp(48000.0f);
    dsp.SetAlgorithm(3, in_uAlgorithm, 0);
    dsp.SetParameter(3, 1, in_fDrive, 0);
    dsp.SetParameter(3, 2, in_fCharacter, 0);
    float aBlock[HOLD_SAMPLES];
    for (int i = 0; i < CURVE_POINTS; ++i) {
        const double x = -CURVE_X + 2.0 * CURVE_X * i / (CURVE_POINTS - 1);
        std::fill(aBlock, aBlock + HOLD_SAMPLES, static_cast<float>(x));
        dsp.Process(3, 0, HOLD_SAMPLES, aBlock);
        curve.x.push_back(x);
        curve.y.push_back(aBlock[HOLD_SAMPLES - 1]);
    }
    return curve;
}

// 1, 1.5, 2, 3, 5 times a power of ten, at least 1: the half-height of a plot.
double NiceScale(const std::vector<double>& in_y)
{
    double fMax = 1.0;
    for (double y : in_y)
        if (std::isfinite(y))
            fMax = std::max(fMax, std::fabs(y));
    for (double fDecade = 1.0;; fDecade *= 10.0)
        for (double f : {1.0, 1.5, 2.0, 3.0, 5.0})
            if (f * fDecade >= fMax * 0.999999 || fDecade > 1e30)
                return f * fDecade;
}

std::string Escape(const std::string& in_s)
{
    std::string out;
    for (char c : in_s) {
        if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '&')
            out += "&amp;";
        else
            out += c;
    }
    return out;
}

// One plot in the box (x0, y0, w, h): frame, axes, dashed lines at +-1, the curve.
void PlotCurve(std::ostream& io_svg, const Curve& in_curve, double x0, double y0, double w, double h,
               const std::string& in_sTitle, double in_fFont)
{
    const double fScale = NiceScale(in_curve.y);
    auto px = [&](double x) { return x0 + (x + CURVE_X) / (2.0 * CURVE_X) * w; };
    auto py = [&](double y) { return y0 + (1.0 - (y + fScale) / (2.0 * fScale)) * h; };
    io_svg << "<rect x='" << x0 << "' y='" << y0 << "' width='" << w << "' height='" << h
           << "' fill='#fcfcfc' stroke='#999'/>\n";
    io_svg << "<line x1='" << px(-CURVE_X) << "' y1='" << py(0) << "' x2='" << px(CURVE_X) << "' y2='" << py(0)
           << "' stroke='#bbb'/>\n";
    io_svg << "<line x1='" << px(0) << "' y1='" << y0 << "' x2='" << px(0) << "' y2='" << y0 + h
           << "' stroke='#bbb'/>\n";
    for (double f : {-1.0, 1.0}) {
        io_svg << "<line x1='" << px(f) << "' y1='" << y0 << "' x2='" << px(f) << "' y2='" << y0 + h
               << "' stroke='#ddd' stroke-dasharray='3,3'/>\n";
        io_svg << "<line x1='" << x0 << "' y1='" << py(f) << "' x2='" << x0 + w << "' y2='" << py(f)
               << "' stroke='#ddd' stroke-dasharray='3,3'/>\n";
    }
    io_svg << "<path fill='none' stroke='#c0392b' stroke-width='1.5' d='";
    bool bPenDown = false;
    for (size_t i = 0; i < in_curve.x.size(); ++i) {
        const double y = in_curve.y[i];
        if (!std::isfinite(y)) {
            bPenDown = false;
            continue;
        }
        io_svg << (bPenDown ? 'L' : 'M') << px(in_curve.x[i]) << ',' << py(y) << ' ';
        bPenDown = true;
    }
    io_svg << "'/>\n";
    io_svg << "<text x='" << x0 + 4 << "' y='" << y0 + in_fFont + 2 << "' font-size='" << in_fFont
           << "' font-family='sans-serif'>" << Escape(in_sTitle) << "</text>\n";
    io_svg << "<text x='" << x0 + 4 << "' y='" << y0 + h - 4 << "' font-size='" << in_fFont * 0.85
           << "' font-family='sans-serif' fill='#666'>y &#177;" << fScale << ", x &#177;1.5</text>\n";
}

std::string Lower(std::string s)
{
    for (char& c : s)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// A number 0 to 47, a short name (tube-drainer) or the display name, any case.
bool ParseAlgorithm(const std::string& in_s, uint32_t& out_uAlgorithm)
{
    if (!in_s.empty() && in_s.size() <= 2 && in_s.find_first_not_of("0123456789") == std::string::npos) {
        out_uAlgorithm = static_cast<uint32_t>(std::atoi(in_s.c_str()));
        return out_uAlgorithm < QW_DISTORTION_ALGORITHMS;
    }
    const std::string sLower = Lower(in_s);
    for (uint32_t a = 0; a < QW_DISTORTION_ALGORITHMS; ++a)
        if (sLower == g_apszDistortionAlgorithmNames[a] || sLower == Lower(g_aDistortionAlgorithms[a].pName)) {
            out_uAlgorithm = a;
            return true;
        }
    return false;
}

bool ParseFloat(const std::string& in_s, float& out_f)
{
    char* pEnd = nullptr;
    const float f = std::strtof(in_s.c_str(), &pEnd);
    if (in_s.empty() || *pEnd != '\0' || !std::isfinite(f))
        return false;
    out_f = f;
    return true;
}

std::string Conditions(const Curve& in_curve)
{
    std::ostringstream s;
    s << "drive " << in_curve.fDrive << ", character " << in_curve.fCharacter << ", mix 100, gains 0 dB";
    return s.str();
}

} // namespace

int QwfxCurve(const QwfxArgs& in_args)
{
    std::string sAlgorithm, sSvg, sValue, sError;
    float fDrive = 5.0f, fCharacter = 0.5f;
    for (size_t i = 0; i < in_args.args.size(); ++i) {
        if (QwfxTakeOption(in_args.args, i, "--drive", sValue, sError)) {
            if (sError.empty() && !ParseFloat(sValue, fDrive))
                sError = "bad value '" + sValue + "' for --drive";
        } else if (QwfxTakeOption(in_args.args, i, "--character", sValue, sError)) {
            if (sError.empty() && !ParseFloat(sValue, fCharacter))
                sError = "bad value '" + sValue + "' for --character";
        } else if (QwfxTakeOption(in_args.args, i, "--svg", sValue, sError)) {
            sSvg = sValue;
        } else if (in_args.args[i][0] == '-' && in_args.args[i].size() > 1) {
            sError = "unknown option '" + in_args.args[i] + "' for curve";
        } else if (sAlgorithm.empty()) {
            sAlgorithm = in_args.args[i];
        } else {
            sError = "usage: qwfx curve ALGORITHM [--drive D] [--character C] [--svg FILE]";
        }
        if (!sError.empty())
            return QwfxError(QWFX_USAGE, sError);
    }
    if (sAlgorithm.empty())
        return QwfxError(QWFX_USAGE, "usage: qwfx curve ALGORITHM [--drive D] [--character C] [--svg FILE]");
    if (sAlgorithm == "all") {
        if (sSvg.empty())
            return QwfxError(QWFX_USAGE, "qwfx curve all needs --svg FILE");
        if (!QwfxWriteCurveSheet(sSvg, sError))
            return QwfxError(QWFX_FAILED, sError);
        std::printf("all %u curves -> %s\n", QW_DISTORTION_ALGORITHMS, sSvg.c_str());
        return QWFX_OK;
    }
    uint32_t uAlgorithm = 0;
    if (!ParseAlgorithm(sAlgorithm, uAlgorithm))
        return QwfxError(QWFX_USAGE, "unknown algorithm '" + sAlgorithm +
                                         "': give 0 to 47 or a name such as tube-drainer (qwfx params distortion)");

    QwAssertLog asserts;
    const QwAssertHookFn pPreviousHook = g_pQWPluginList.QwAssertHook;
    g_pQWPluginList.QwAssertHook = &QwAssertLog::Hook;
    const Curve curve = ComputeCurve(uAlgorithm, fDrive, fCharacter);
    g_pQWPluginList.QwAssertHook = pPreviousHook;

    const std::string sTitle = std::to_string(uAlgorithm) + " " + g_aDistortionAlgorithms[uAlgorithm].pName;
    if (sSvg.empty()) {
        std::printf("# %s: %s\n# input output\n", sTitle.c_str(), Conditions(curve).c_str());
        for (size_t i = 0; i < curve.x.size(); ++i)
            std::printf("%.4f %.9g\n", curve.x[i], curve.y[i]);
    } else {
        std::ofstream file(sSvg);
        if (!file)
            return QwfxError(QWFX_FAILED, "cannot write '" + sSvg + "'");
        file << "<svg xmlns='http://www.w3.org/2000/svg' width='640' height='500'>\n";
        PlotCurve(file, curve, 20, 40, 600, 440, sTitle, 14);
        file << "<text x='20' y='24' font-size='13' font-family='sans-serif'>" << Escape(Conditions(curve))
             << "</text>\n</svg>\n";
        if (!file)
            return QwfxError(QWFX_FAILED, "cannot write '" + sSvg + "'");
        std::printf("%s -> %s\n", sTitle.c_str(), sSvg.c_str());
    }
    if (asserts.Total())
        std::fprintf(stderr, "qwfx: %zu assertion reports while tracing the curve (first: %s)\n", asserts.Total(),
                     asserts.Records()[0].sExpression.c_str());
    return QWFX_OK;
}

bool QwfxWriteCurveSheet(const std::string& in_sPath, std::string& out_sError)
{
    const int COLUMNS = 8, ROWS = 6;
    const double CELL_W = 230, CELL_H = 180, GAP = 10, TOP = 40;
    std::ofstream file(in_sPath);
    if (!file) {
        out_sError = "cannot write '" + in_sPath + "'";
        return false;
    }
    file << "<svg xmlns='http://www.w3.org/2000/svg' width='" << GAP + COLUMNS * (CELL_W + GAP) << "' height='"
         << TOP + ROWS * (CELL_H + GAP) << "'>\n";
    QwAssertLog asserts;
    const QwAssertHookFn pPreviousHook = g_pQWPluginList.QwAssertHook;
    g_pQWPluginList.QwAssertHook = &QwAssertLog::Hook;
    for (uint32_t a = 0; a < QW_DISTORTION_ALGORITHMS; ++a) {
        const Curve curve = ComputeCurve(a, 5.0f, 0.5f);
        const double x0 = GAP + (a % COLUMNS) * (CELL_W + GAP);
        const double y0 = TOP + (a / COLUMNS) * (CELL_H + GAP);
        PlotCurve(file, curve, x0, y0, CELL_W, CELL_H, std::to_string(a) + " " + g_apszDistortionAlgorithmNames[a],
                  11);
    }
    g_pQWPluginList.QwAssertHook = pPreviousHook;
    file << "<text x='" << GAP << "' y='26' font-size='15' font-family='sans-serif'>Distortion transfer curves, "
         << "input -1.5 to 1.5; drive 5, character 0.5, mix 100, gains 0 dB (the effect's defaults)</text>\n</svg>\n";
    if (!file) {
        out_sError = "cannot write '" + in_sPath + "'";
        return false;
    }
    return true;
}
