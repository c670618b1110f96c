// qwfx response and qwfx render against the real module, with the filters effect.
#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <fstream>
#include <sstream>
#include "qwfx/lib/qwaudiofile.h"
#include "support/qwfxrun.h"

namespace {

// The printed table: "# ..." comments, then "HZ DB" rows.
std::vector<std::pair<double, double>> Rows(const QwfxRunResult& in_result)
{
    std::vector<std::pair<double, double>> rows;
    for (const std::string& sLine : in_result.OutLines()) {
        if (sLine.empty() || sLine[0] == '#')
            continue;
        std::istringstream in(sLine);
        double f = 0, db = 0;
        in >> f >> db;
        rows.push_back({f, db});
    }
    return rows;
}

double PeakDb(double in_dFc, double in_dGainDb, double in_dQ, double in_dF)
{
    // The cookbook peaking section, A = 10^(g / 40).
    const double pi = 3.14159265358979323846, fs = 48000.0;
    const double w0 = 2 * pi * in_dFc / fs, c = std::cos(w0), alpha = std::sin(w0) / (2 * in_dQ);
    const double A = std::pow(10.0, in_dGainDb / 40.0);
    const std::complex<double> zi = std::polar(1.0, -2 * pi * in_dF / fs);
    const std::complex<double> h = (1 + alpha * A - 2 * c * zi + (1 - alpha * A) * zi * zi) /
                                   (1 + alpha / A - 2 * c * zi + (1 - alpha / A) * zi * zi);
    return 20.0 * std::log10(std::abs(h));
}

} // namespace

TEST(QwfxResponse, PrintsThePeakOfTheMiddleFilter)
{
    TestTempDir dir;
    // Only filter 2, a 9 dB peak at 2 kHz with Q 2: the table must follow the section's own response.
    const QwfxRunResult result = RunQwfx({"response", "filters", "--set", "f1-mode=off", "--set", "f3-mode=off",
                                          "--set", "f2-freq=2000", "--set", "f2-gain=9", "--set", "f2-q=2"},
                                         dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    const auto rows = Rows(result);
    ASSERT_GT(rows.size(), 50u);
    EXPECT_NEAR(rows.front().first, 20.0, 1e-6);
    for (const auto& row : rows)
        EXPECT_NEAR(row.second, PeakDb(2000.0, 9.0, 2.0, row.first), 0.02) << row.first;
}

TEST(QwfxResponse, DrawsAnSvgAndRefusesBadOptions)
{
    TestTempDir dir;
    const std::string sSvg = dir.File("r.svg");
    const QwfxRunResult result = RunQwfx({"response", "filters", "--set", "f3-type=ladder-low", "--svg", sSvg}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    std::ifstream file(sSvg);
    std::stringstream text;
    text << file.rdbuf();
    EXPECT_EQ(text.str().rfind("<svg", 0), 0u);
    EXPECT_NE(text.str().find("<polyline"), std::string::npos);
    EXPECT_EQ(result.sOut, "");

    EXPECT_EQ(RunQwfx({"response", "filters", "--rate", "12"}, dir).iStatus, 2);
    EXPECT_EQ(RunQwfx({"response", "filters", "--set", "f1-type=bogus"}, dir).iStatus, 2);
    EXPECT_EQ(RunQwfx({"response"}, dir).iStatus, 2);
}

TEST(QwfxResponse, RenderThroughFiltersEndToEnd)
{
    TestTempDir dir;
    // A 60 Hz plus 8 kHz tone, stereo.
    QwPlanarAudio input(48000, 2, 48000);
    for (size_t n = 0; n < 48000; ++n) {
        const double t = static_cast<double>(n) / 48000.0;
        input.channels[0][n] = static_cast<float>(0.4 * std::sin(2 * M_PI * 60 * t) + 0.4 * std::sin(2 * M_PI * 8000 * t));
        input.channels[1][n] = -input.channels[0][n];
    }
    std::string sError;
    ASSERT_TRUE(QwWriteFloatWav(dir.File("in.wav"), input, sError)) << sError;

    // Every filter off: bit-identical.
    QwfxRunResult result = RunQwfx({"render", "filters", dir.File("in.wav"), dir.File("off.wav"), "--set",
                                    "f1-mode=off", "--set", "f2-mode=2", "--set", "f3-mode=off", "--strict"},
                                   dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    QwPlanarAudio output;
    ASSERT_TRUE(QwReadAudioFile(dir.File("off.wav"), output, sError)) << sError;
    ASSERT_EQ(output.NumFrames(), input.NumFrames());
    EXPECT_EQ(output.channels, input.channels);

    // A 2 kHz low-pass of Q 0.7071 on filter 3 alone: the 8 kHz tone falls by 26 dB, the 60 Hz
    // tone stays.
    result = RunQwfx({"render", "filters", dir.File("in.wav"), dir.File("lp.wav"), "--set", "f1-mode=off", "--set",
                      "f2-mode=off", "--set", "f3-freq=2000", "--set", "f3-q=0.7071", "--strict"},
                     dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    ASSERT_TRUE(QwReadAudioFile(dir.File("lp.wav"), output, sError)) << sError;
    auto amplitude = [&](const std::vector<float>& in_s, double in_dF) {
        std::complex<double> sum = 0.0;
        for (size_t n = 24000; n < 48000; ++n)
            sum += static_cast<double>(in_s[n]) * std::polar(1.0, -2 * M_PI * in_dF * n / 48000.0);
        return 2.0 * std::abs(sum) / 24000.0;
    };
    EXPECT_NEAR(amplitude(output.channels[0], 60.0), 0.4, 0.004);
    // |H(8 kHz)| of the cookbook low-pass, worked by hand: w0 = pi / 12, c = 0.96593,
    // alpha = 0.18301; at w = pi / 3 the numerator is b0 |1 + z^-1|^2 = 0.017037 x 3 = 0.051111
    // and the denominator |1.18301 - 1.93185 z^-1 + 0.81699 z^-2| = 0.98430, so 0.051926.
    EXPECT_NEAR(amplitude(output.channels[0], 8000.0), 0.4 * 0.051926, 0.0005);
    EXPECT_NEAR(amplitude(output.channels[1], 60.0), 0.4, 0.004);
}
