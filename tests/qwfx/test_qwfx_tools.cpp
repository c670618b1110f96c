// The qwfx subcommands that draw or build rather than render: curve, response, box-model and
// reverb-model, against closed forms and the records they must write.
#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <sstream>
#include "qwfx/qwfxe2e.h"

namespace {

// "x y" rows, skipping "#" comments.
std::vector<std::pair<double, double>> Rows(const std::string& in_sText)
{
    std::vector<std::pair<double, double>> rows;
    for (const std::string& sLine : QwfxRunResult::Lines(in_sText)) {
        if (sLine.empty() || sLine[0] == '#')
            continue;
        std::istringstream line(sLine);
        double x = NAN, y = NAN;
        line >> x >> y;
        rows.emplace_back(x, y);
    }
    return rows;
}

} // namespace

TEST(QwfxCurve, ColumnsFollowTheTransfer)
{
    TestTempDir dir;
    struct Case
    {
        std::vector<std::string> args;
        std::function<double(double)> ref;
        double fTol;
    };
    const Case aCases[] = {
        // Tape Saturation at Drive 0: sin(pi/20 x) / sin(pi/20).
        {{"curve", "tape-saturation", "--drive", "0"}, [](double x) { return std::sin(M_PI / 20 * x) / std::sin(M_PI / 20); }, 1e-5},
        // By number with Character: Wrecktifier full-wave at Drive 0 is |x|.
        {{"curve", "12", "--drive=0", "--character", "1"}, [](double x) { return std::fabs(x); }, 1e-6},
        // Bit Aliasing at Character 0.5 averages eight samples, but each input is held: the static
        // curve is the identity whatever the Drive. The running sum carries float rounding from
        // point to point (19232 samples in all), hence the looser bound.
        {{"curve", "Retro - Bit Aliasing", "--drive", "10"}, [](double x) { return x; }, 5e-5},
    };
    for (const Case& c : aCases) {
        const QwfxRunResult result = RunQwfx(c.args, dir);
        ASSERT_EQ(result.iStatus, 0) << result.sErr;
        const auto rows = Rows(result.sOut);
        ASSERT_EQ(rows.size(), 601u) << c.args[1];
        EXPECT_DOUBLE_EQ(rows.front().first, -1.5);
        EXPECT_DOUBLE_EQ(rows.back().first, 1.5);
        for (const auto& row : rows)
            ASSERT_NEAR(row.second, c.ref(row.first), c.fTol) << c.args[1] << " at " << row.first;
    }
}

TEST(QwfxCurve, SvgSheetAndMistakes)
{
    TestTempDir dir;
    ASSERT_EQ(RunQwfx({"curve", "citrus-pulp", "--svg", dir.File("c.svg")}, dir).iStatus, 0);
    const std::string sSvg = Slurp(dir.File("c.svg"));
    EXPECT_EQ(sSvg.rfind("<svg", 0), 0u);
    EXPECT_EQ(CountOf(sSvg, "<path"), 1u);
    EXPECT_EQ(CountOf(sSvg, "L"), 600u); // one move, then a line to each further point
    EXPECT_NE(sSvg.find("42 Distort - Citrus Pulp"), std::string::npos);
    // The sheet qwfx demo writes: every algorithm, drawn only into a file.
    ASSERT_EQ(RunQwfx({"curve", "all", "--svg", dir.File("sheet.svg")}, dir).iStatus, 0);
    const std::string sSheet = Slurp(dir.File("sheet.svg"));
    EXPECT_EQ(CountOf(sSheet, "<path"), 48u);
    EXPECT_NE(sSheet.find("47 noise-art"), std::string::npos);
}

TEST(QwfxResponse, PrintsThePeakOfTheMiddleFilterAndDrawsIt)
{
    TestTempDir dir;
    // Only filter 2, a 9 dB peak at 2 kHz with Q 2: the table must follow the cookbook peaking
    // section, A = 10^(g / 40), evaluated here.
    const QwfxRunResult result = RunQwfx({"response", "filters", "--set", "f1-mode=off", "--set", "f3-mode=off",
                                          "--set", "f2-freq=2000", "--set", "f2-gain=9", "--set", "f2-q=2"},
                                         dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    const auto rows = Rows(result.sOut);
    ASSERT_GT(rows.size(), 50u);
    EXPECT_NEAR(rows.front().first, 20.0, 1e-6);
    const double w0 = 2 * M_PI * 2000.0 / 48000.0, c = std::cos(w0), alpha = std::sin(w0) / 4.0;
    const double A = std::pow(10.0, 9.0 / 40.0);
    for (const auto& row : rows) {
        const std::complex<double> zi = std::polar(1.0, -2 * M_PI * row.first / 48000.0);
        const std::complex<double> h = (1 + alpha * A - 2 * c * zi + (1 - alpha * A) * zi * zi) /
                                       (1 + alpha / A - 2 * c * zi + (1 - alpha / A) * zi * zi);
        EXPECT_NEAR(row.second, 20.0 * std::log10(std::abs(h)), 0.02) << row.first;
    }

    const QwfxRunResult svg =
        RunQwfx({"response", "filters", "--set", "f3-type=ladder-low", "--svg", dir.File("r.svg")}, dir);
    ASSERT_EQ(svg.iStatus, 0) << svg.sErr;
    EXPECT_EQ(svg.sOut, "");
    const std::string sSvg = Slurp(dir.File("r.svg"));
    EXPECT_EQ(sSvg.rfind("<svg", 0), 0u);
    EXPECT_NE(sSvg.find("<polyline"), std::string::npos);
}

TEST(QwfxBoxModel, WritesTheBlobAndRefusesWhatCannotBeAModel)
{
    TestTempDir dir;
    const std::string sCabinet = std::string(KVFX_SOURCE_DIR) + "/qwfx/data/bass-combo-a-44k.wav";
    QwfxRunResult r = RunQwfx({"box-model", sCabinet, "-o", dir.File("cab.bin"), "--gain-db", "-3"}, dir);
    ASSERT_EQ(r.iStatus, 0) << r.sErr;
    const std::string sBlob = Slurp(dir.File("cab.bin"));
    ASSERT_EQ(sBlob.size(), 8u + 4u * 8192u);
    float fGain;
    uint32_t uTaps;
    std::memcpy(&fGain, sBlob.data(), 4);
    std::memcpy(&uTaps, sBlob.data() + 4, 4);
    EXPECT_EQ(fGain, -3.0f);
    EXPECT_EQ(uTaps, 8192u);
}

TEST(QwfxReverbModel, WritesARecordThatRenderAccepts)
{
    TestTempDir dir;
    QwfxRunResult result =
        RunQwfx({"reverb-model", "-o", dir.File("m.bin"), "--early-ms", "10", "--decay", "0.05"}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    // 36 bytes of header and counts, one equaliser tap and 480 early taps on each of two channels.
    EXPECT_EQ(Slurp(dir.File("m.bin")).size(), 36u + 8u * 1u + 8u * 480u);
    Render(dir, "reverb", QwPlanarAudio(48000, 2, 4800), {"--media", dir.File("m.bin"), "--strict"});
}
