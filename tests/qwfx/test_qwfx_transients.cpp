// qwfx transients end to end, on a file with clicks at known places.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <set>
#include "qwfx/qwfxe2e.h"

namespace {

struct Row
{
    long sFrame;
    unsigned uChannel;
    double dMeasure;
};

// Rows of "time_s,channel,measure" or of the table's columns, back to frames at 48 kHz.
std::vector<Row> Rows(const std::vector<std::string>& in_lines)
{
    std::vector<Row> rows;
    for (std::string sLine : in_lines) {
        std::replace(sLine.begin(), sLine.end(), ',', ' ');
        double t = 0, m = 0;
        unsigned c = 0;
        if (std::sscanf(sLine.c_str(), "%lf %u %lf", &t, &c, &m) == 3)
            rows.push_back(Row{std::lround(t * 48000), c, m});
    }
    return rows;
}

// Two tones on channel 0 with clicks at 0.5 s, 0.51 s and 2.25 s, coloured noise on channel 1
// with a click at 1.2 s: all below the signals' own peaks.
std::string WriteClicks(const TestTempDir& in_dir)
{
    QwPlanarAudio audio(48000, 2, 3 * 48000);
    std::mt19937 rng(4);
    std::normal_distribution<double> noise(0.0, 0.01);
    std::vector<float>& a = audio.channels[0];
    std::vector<float>& b = audio.channels[1];
    for (size_t n = 0; n < a.size(); ++n) {
        a[n] = static_cast<float>(0.3 * std::sin(2 * M_PI * 440 * n / 48000) + 0.2 * std::sin(2 * M_PI * 1250 * n / 48000));
        b[n] = static_cast<float>(noise(rng) + (n > 1 ? 1.6 * b[n - 1] - 0.8 * b[n - 2] : 0.0));
    }
    a[24000] += 0.2f;
    a[24480] += 0.12f;
    a[108000] -= 0.15f;
    b[57600] += 0.1f;
    return WriteWav(in_dir, "clicks.wav", audio);
}

} // namespace

TEST(QwfxTransients, FindsTheClicksStrongestFirst)
{
    TestTempDir dir;
    const std::string sIn = WriteClicks(dir), sCsv = dir.File("peaks.csv");
    QwfxRunResult r = RunQwfx({"transients", sIn, "--csv", sCsv}, dir);
    ASSERT_EQ(r.iStatus, 0) << r.sErr;
    EXPECT_EQ(r.sErr, "");
    const std::vector<Row> shown = Rows(r.OutLines());
    const std::vector<std::string> lines = QwfxRunResult::Lines(Slurp(sCsv));
    ASSERT_EQ(lines.size(), 21u);
    EXPECT_EQ(lines[0], "time_s,channel,measure");
    const std::vector<Row> rows = Rows(lines);
    ASSERT_EQ(rows.size(), 20u); // every line after the header is a row
    ASSERT_EQ(shown.size(), rows.size());
    // The click 10 ms after the first is within the 50 ms gap of a stronger one: not listed.
    const std::set<std::pair<long, unsigned>> clicks = {{24000, 0}, {108000, 0}, {57600, 1}};
    for (size_t k = 0; k < rows.size(); ++k) {
        EXPECT_EQ(std::make_pair(shown[k].sFrame, shown[k].uChannel), std::make_pair(rows[k].sFrame, rows[k].uChannel));
        EXPECT_EQ(clicks.count({rows[k].sFrame, rows[k].uChannel}), k < 3 ? 1u : 0u) << k;
        EXPECT_LE(rows[k].dMeasure, rows[k > 0 ? k - 1 : 0].dMeasure);
    }
    EXPECT_LT(rows[3].dMeasure, 0.5 * rows[2].dMeasure);

    r = RunQwfx({"transients", sIn, "--top", "4", "--min-gap", "5", "--order", "12", "--frame", "15", "--hop", "2"}, dir);
    ASSERT_EQ(r.iStatus, 0) << r.sErr;
    std::set<std::pair<long, unsigned>> found;
    for (const Row& row : Rows(r.OutLines()))
        found.insert({row.sFrame, row.uChannel});
    EXPECT_EQ(found, (std::set<std::pair<long, unsigned>>{{24000, 0}, {24480, 0}, {108000, 0}, {57600, 1}}));
}
