#include <gtest/gtest.h>
#include <cmath>
#include "qwfx/lib/qwresponse.h"

TEST(QwResponse, LogFrequenciesSpanOctaves)
{
    const std::vector<double> f = QwLogFrequencies(20.0, 20480.0, 3);
    ASSERT_EQ(f.size(), 31u); // ten octaves, three steps each, both ends
    EXPECT_DOUBLE_EQ(f.front(), 20.0);
    EXPECT_NEAR(f.back(), 20480.0, 1e-6);
    EXPECT_NEAR(f[1] / f[0], std::cbrt(2.0), 1e-12);
    EXPECT_TRUE(QwLogFrequencies(0.0, 100.0, 3).empty());
}

TEST(QwResponse, MagnitudeOfATwoTapAverage)
{
    // h = {0.5, 0.5}: |H| = |cos(w / 2)|, so -3.01 dB at fs / 4 and 0 dB at DC.
    const std::vector<float> h = {0.5f, 0.5f};
    const auto points = QwMagnitudeResponse(h, 48000, {1.0, 6000.0, 12000.0, 18000.0});
    EXPECT_NEAR(points[0].fGainDb, 0.0, 1e-6);
    EXPECT_NEAR(points[1].fGainDb, 20.0 * std::log10(std::cos(M_PI / 8)), 1e-9);
    EXPECT_NEAR(points[2].fGainDb, -3.0103, 1e-4);
    EXPECT_NEAR(points[3].fGainDb, 20.0 * std::log10(std::cos(3 * M_PI / 8)), 1e-9);
    EXPECT_EQ(QwMagnitudeResponse({0.0f}, 48000, {100.0})[0].fGainDb, -300.0);
}

TEST(QwResponse, SvgHasTheCurveAndEscapesTheTitle)
{
    const std::string svg = QwResponseSvg({{20.0, 0.0}, {200.0, -6.0}, {2000.0, -40.0}}, "a<b & c");
    EXPECT_EQ(svg.rfind("<svg", 0), 0u);
    EXPECT_NE(svg.find("a&lt;b &amp; c"), std::string::npos);
    EXPECT_NE(svg.find("<polyline"), std::string::npos);
    EXPECT_NE(svg.find(">1k<"), std::string::npos);
    EXPECT_EQ(svg.find("a<b"), std::string::npos);
}
