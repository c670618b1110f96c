// The distortion through the qwfx program: render end to end, the curve subcommand and the
// sheet of all curves.
#include <gtest/gtest.h>
#include <cmath>
#include <fstream>
#include <sstream>
#include "qwfx/lib/qwaudiofile.h"
#include "support/qwfxrun.h"

namespace {

QwPlanarAudio MakeInput()
{
    QwPlanarAudio audio(48000, 2, 3000);
    for (size_t i = 0; i < 3000; ++i) {
        audio.channels[0][i] = 0.6f * std::sin(0.01f * static_cast<float>(i));
        audio.channels[1][i] = 0.3f * std::cos(0.023f * static_cast<float>(i));
    }
    return audio;
}

// Reads "x y" lines, skipping comments.
std::vector<std::pair<double, double>> ParseColumns(const std::string& in_sText)
{
    std::vector<std::pair<double, double>> points;
    for (const std::string& sLine : QwfxRunResult::Lines(in_sText)) {
        if (sLine.empty() || sLine[0] == '#')
            continue;
        std::istringstream line(sLine);
        double x = NAN, y = NAN;
        line >> x >> y;
        points.emplace_back(x, y);
    }
    return points;
}

size_t CountOf(const std::string& in_sText, const std::string& in_sWhat)
{
    size_t n = 0;
    for (size_t i = in_sText.find(in_sWhat); i != std::string::npos; i = in_sText.find(in_sWhat, i + 1))
        ++n;
    return n;
}

} // namespace

TEST(QwfxDistortion, RenderEndToEnd)
{
    TestTempDir dir;
    const QwPlanarAudio input = MakeInput();
    std::string sError;
    ASSERT_TRUE(QwWriteFloatWav(dir.File("in.wav"), input, sError)) << sError;

    // Defaults: both algorithms 0, the file comes back bit-identical.
    QwfxRunResult result = RunQwfx({"render", "distortion", dir.File("in.wav"), dir.File("plain.wav")}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    QwPlanarAudio output;
    ASSERT_TRUE(QwReadAudioFile(dir.File("plain.wav"), output, sError)) << sError;
    EXPECT_EQ(output.channels, input.channels);

    // Wrecktifier at Character 1, Drive 0, Mix 100, trim 0: full-wave rectification, |x|; the
    // second slot by number: Crunchy Grunge at Drive 0, tanh at -3 dB.
    result = RunQwfx({"render", "distortion", dir.File("in.wav"), dir.File("rect.wav"), "--set",
                      "algorithm1=wrecktifier", "--set", "character1=1", "--set", "drive1=0", "--set",
                      "algorithm2=17", "--set", "drive2=0", "--block", "256"},
                     dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    ASSERT_TRUE(QwReadAudioFile(dir.File("rect.wav"), output, sError)) << sError;
    ASSERT_EQ(output.NumChannels(), 2u);
    ASSERT_EQ(output.NumFrames(), input.NumFrames());
    for (uint32_t c = 0; c < 2; ++c)
        for (size_t i = 0; i < input.NumFrames(); ++i)
            ASSERT_NEAR(output.channels[c][i], std::tanh(std::fabs(input.channels[c][i])) * std::pow(10.0, -3.0 / 20),
                        1e-6)
                << c << " " << i;

    // A name that is not an algorithm is refused.
    result = RunQwfx({"render", "distortion", dir.File("in.wav"), dir.File("bad.wav"), "--set", "algorithm1=fuzzz"},
                     dir);
    EXPECT_NE(result.iStatus, 0);
    EXPECT_FALSE(std::filesystem::exists(dir.File("bad.wav")));
}

TEST(QwfxDistortion, CurveColumnsFollowTheTransfer)
{
    TestTempDir dir;
    // Tape Saturation at Drive 0: sin(pi/20 x) / sin(pi/20).
    QwfxRunResult result = RunQwfx({"curve", "tape-saturation", "--drive", "0"}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    auto points = ParseColumns(result.sOut);
    ASSERT_EQ(points.size(), 601u);
    EXPECT_DOUBLE_EQ(points.front().first, -1.5);
    EXPECT_DOUBLE_EQ(points.back().first, 1.5);
    for (const auto& p : points)
        EXPECT_NEAR(p.second, std::sin(M_PI / 20 * p.first) / std::sin(M_PI / 20), 1e-5) << p.first;

    // By number with Character: Wrecktifier full-wave at Drive 0 is |x|.
    result = RunQwfx({"curve", "12", "--drive=0", "--character", "1"}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    points = ParseColumns(result.sOut);
    ASSERT_EQ(points.size(), 601u);
    for (const auto& p : points)
        EXPECT_NEAR(p.second, std::fabs(p.first), 1e-6) << p.first;

    // Bit Aliasing at Character 0.5 averages eight samples, but each input is held: the static
    // curve is the identity whatever the Drive. The running sum carries float rounding from
    // point to point (19232 samples in all), hence the looser bound.
    result = RunQwfx({"curve", "Retro - Bit Aliasing", "--drive", "10"}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    for (const auto& p : ParseColumns(result.sOut))
        EXPECT_NEAR(p.second, p.first, 5e-5) << p.first;
}

TEST(QwfxDistortion, CurveSvgAndMistakes)
{
    TestTempDir dir;
    QwfxRunResult result = RunQwfx({"curve", "citrus-pulp", "--svg", dir.File("c.svg")}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    std::ifstream file(dir.File("c.svg"));
    std::stringstream svg;
    svg << file.rdbuf();
    EXPECT_EQ(svg.str().rfind("<svg", 0), 0u);
    EXPECT_EQ(CountOf(svg.str(), "<path"), 1u);
    EXPECT_EQ(CountOf(svg.str(), "L"), 600u); // one move, then a line to each further point
    EXPECT_NE(svg.str().find("42 Distort - Citrus Pulp"), std::string::npos);

    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"curve"}, {"curve", "48"}, {"curve", "noise"}, {"curve", "1", "--drive", "x"},
          {"curve", "1", "--level", "3"}}) {
        result = RunQwfx(args, dir);
        EXPECT_EQ(result.iStatus, 2) << args.back();
        EXPECT_EQ(result.sOut, "");
        EXPECT_EQ(QwfxRunResult::Lines(result.sErr).size(), 1u) << result.sErr;
    }
}

// The sheet qwfx demo writes, drawn alone so the test does not render the whole demo.
TEST(QwfxDistortion, CurveSheetOfAllAlgorithms)
{
    TestTempDir dir;
    QwfxRunResult result = RunQwfx({"curve", "all"}, dir);
    EXPECT_EQ(result.iStatus, 2);
    result = RunQwfx({"curve", "all", "--svg", dir.File("sheet.svg")}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    std::ifstream file(dir.File("sheet.svg"));
    std::stringstream svg;
    svg << file.rdbuf();
    EXPECT_EQ(CountOf(svg.str(), "<path"), 48u);
    EXPECT_NE(svg.str().find("47 noise-art"), std::string::npos);
}
