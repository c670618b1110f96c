// The lookup tables against their breakpoints: straight lines within 2 units of 32767, and
// the two smooth curves through their points without overshoot.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>
#include "shareddsp/distortions/skreldistortion/distortion_lookup_tables.h"

namespace {

typedef std::vector<std::pair<int, double>> Points;

struct Curve
{
    uint32_t uAlgorithm;
    Points pos;
    Points neg;
};

const double SIL = -2230.2;

const std::vector<Curve>& StraightCurves()
{
    static const std::vector<Curve> s_curves = {
        {37, {{0, SIL}, {124, 22816.8}, {860, 20243.5}},
         {{0, SIL}, {44, 7033.8}, {80, 10979.5}, {111, 13552.8}, {158, 15096.8}, {860, 11837.3}}},
        {38, {{0, SIL}, {150, 27791.9}, {860, 27620.4}}, {{0, SIL}, {860, 10464.9}}},
        {39, {{0, SIL}, {150, 27791.9}, {860, 27620.4}}, {{0, SIL}, {860, 10464.9}}},
        {40, {{0, SIL}, {101, 171.6}, {103, 12180.4}, {860, SIL}}, {{0, SIL}, {216, 171.6}, {218, 11837.3}, {860, SIL}}},
        {41,
         {{0, SIL}, {711, 27105.7}, {728, 18356.4}, {754, 27620.4}, {761, 9778.6}, {789, 27448.8}, {824, 9607.1},
          {859, 32767}, {860, 32767}},
         {{0, SIL}, {689, 25047.0}, {706, 10293.3}, {711, 17327.1}, {713, 25561.7}, {761, 23331.5}, {796, 8406.2},
          {797, 19900.4}, {824, 29507.5}, {860, 32767}}},
        {43, {{0, SIL}, {184, 15268.4}, {860, 15268.4}}, {{0, SIL}, {859, 11494.2}, {860, SIL}}},
        {44, {{0, SIL}, {1, 16640.8}, {859, 171.6}, {860, 11837.3}},
         {{0, SIL}, {1, 16640.8}, {857, 171.6}, {858, 171.6}, {859, 2401.8}, {860, 11837.3}}},
        {45, {{0, SIL}, {57, 15268.4}, {860, 8406.2}}, {{0, SIL}, {85, 15268.4}, {860, 11837.3}}},
        {47, {{0, SIL}, {1, 19900.4}, {860, 19900.4}}, {{0, SIL}, {1, 19900.4}, {860, 19557.3}}},
    };
    return s_curves;
}

const std::vector<Curve>& SmoothCurves()
{
    static const std::vector<Curve> s_curves = {
        {42,
         {{0, -2230}, {36, -1434}, {187, 3261}, {729, 19298}, {790, 21712}, {808, 21515}, {822, 20307}, {834, 18189},
          {846, 14925}, {860, 9954}},
         {{0, -2230}, {5, -1608}, {12, 532}, {26, 6732}, {39, 12338}, {50, 15996}, {61, 18476}, {73, 19986},
          {88, 20589}, {112, 19993}, {177, 17276}, {849, -1809}, {860, -1993}}},
        {46,
         {{0, -2230}, {8, -1589}, {18, 412}, {51, 9661}, {65, 12551}, {79, 14319}, {96, 15249}, {124, 15222},
          {209, 13948}, {860, 8477}},
         {{0, -2230}, {10, -1563}, {23, 614}, {64, 9929}, {81, 12798}, {98, 14534}, {119, 15373}, {164, 15141},
          {310, 14272}, {860, 11874}}},
    };
    return s_curves;
}

double Straight(const Points& in_points, int i)
{
    for (size_t j = 0; j + 1 < in_points.size(); ++j) {
        const auto& a = in_points[j];
        const auto& b = in_points[j + 1];
        if (i >= a.first && i <= b.first)
            return a.second + (b.second - a.second) * (i - a.first) / (b.first - a.first);
    }
    return NAN;
}

} // namespace

// Every table starts at the silence value and ends with a zero pair; then the straight ones
// follow their breakpoints.
TEST(DistortionLookupTables, StraightTablesFollowTheirBreakpoints)
{
    for (uint32_t a = 37; a < 48; ++a) {
        const float* pTable = DistortionLookupTable(a);
        ASSERT_NE(pTable, nullptr);
        EXPECT_EQ(std::vector<float>(pTable, pTable + 2), std::vector<float>(2, -2230.2146f)) << a;
        EXPECT_EQ(std::vector<float>(pTable + 2 * 861, pTable + 2 * 862), std::vector<float>(2, 0.0f)) << a;
    }
    EXPECT_EQ(DistortionLookupTable(38), DistortionLookupTable(39));
    EXPECT_EQ(DistortionLookupTable(36), nullptr);
    EXPECT_EQ(DistortionLookupTable(48), nullptr);
    for (const Curve& c : StraightCurves()) {
        const float* pTable = DistortionLookupTable(c.uAlgorithm);
        ASSERT_NE(pTable, nullptr);
        for (int i = 0; i < 861; ++i) {
            EXPECT_NEAR(pTable[2 * i], Straight(c.pos, i), 2.0) << c.uAlgorithm << " positive " << i;
            EXPECT_NEAR(pTable[2 * i + 1], Straight(c.neg, i), 2.0) << c.uAlgorithm << " negative " << i;
        }
    }
}

// Through the points without overshoot, and smooth: no kink at the points. Where the chords
// either side of a point change slope, a straight-line table would change its step by the full
// difference; the curve changes its step by far less.
TEST(DistortionLookupTables, SmoothTablesPassThroughTheirPointsWithoutOvershootOrKinks)
{
    for (const Curve& c : SmoothCurves()) {
        const float* pTable = DistortionLookupTable(c.uAlgorithm);
        ASSERT_NE(pTable, nullptr);
        for (int iColumn = 0; iColumn < 2; ++iColumn) {
            const Points& points = iColumn == 0 ? c.pos : c.neg;
            for (size_t j = 0; j < points.size(); ++j) {
                const int k = points[j].first;
                // The start is the shared silence value, 0.2146 below the given -2230.
                EXPECT_NEAR(pTable[2 * k + iColumn], points[j].second, 0.25)
                    << c.uAlgorithm << " column " << iColumn << " point " << k;
                if (j + 1 == points.size())
                    break;
                const double fLow = std::min(points[j].second, points[j + 1].second);
                const double fHigh = std::max(points[j].second, points[j + 1].second);
                for (int i = k; i <= points[j + 1].first; ++i) {
                    EXPECT_GE(pTable[2 * i + iColumn], fLow - 3.0) << c.uAlgorithm << " " << iColumn << " " << i;
                    EXPECT_LE(pTable[2 * i + iColumn], fHigh + 3.0) << c.uAlgorithm << " " << iColumn << " " << i;
                }
                if (j == 0)
                    continue;
                const double fChordBefore = (points[j].second - points[j - 1].second) / (k - points[j - 1].first);
                const double fChordAfter = (points[j + 1].second - points[j].second) / (points[j + 1].first - k);
                const double fStepBefore = pTable[2 * k + iColumn] - pTable[2 * (k - 1) + iColumn];
                const double fStepAfter = pTable[2 * (k + 1) + iColumn] - pTable[2 * k + iColumn];
                EXPECT_LT(std::fabs(fStepAfter - fStepBefore), 0.5 * std::fabs(fChordAfter - fChordBefore) + 1.0)
                    << c.uAlgorithm << " column " << iColumn << " at " << k;
            }
        }
    }
}
