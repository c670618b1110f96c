#include "shareddsp/distortions/skreldistortion/distortion_lookup_tables.h"
#include <array>
#include <cstddef>

namespace {

using KvSkrel::LOOKUP_POSITIONS;
using Table = std::array<float, KvSkrel::LOOKUP_TABLE_FLOATS>;

struct Knot
{
    int iPos;
    double fValue;
};

constexpr double S = KvSkrel::LOOKUP_SILENCE;

// Straight lines between breakpoints, evaluated at every integer position of one column.
template <size_t N>
constexpr void FillLinear(Table& io_table, int in_iColumn, const Knot (&in_knots)[N])
{
    size_t j = 0;
    for (int i = 0; i < static_cast<int>(LOOKUP_POSITIONS); ++i) {
        while (j + 2 < N && i > in_knots[j + 1].iPos)
            ++j;
        const Knot a = in_knots[j];
        const Knot b = in_knots[j + 1];
        const double v = a.fValue + (b.fValue - a.fValue) * (i - a.iPos) / (b.iPos - a.iPos);
        io_table[2 * i + in_iColumn] = static_cast<float>(v);
    }
}

constexpr double Sign(double x) { return x > 0.0 ? 1.0 : (x < 0.0 ? -1.0 : 0.0); }
constexpr double Abs(double x) { return x < 0.0 ? -x : x; }

// One-sided three-point end slope, held to the shape of the data so the curve cannot overshoot.
constexpr double EndSlope(double h0, double h1, double del0, double del1)
{
    double d = ((2.0 * h0 + h1) * del0 - h0 * del1) / (h0 + h1);
    if (Sign(d) != Sign(del0))
        d = 0.0;
    else if (Sign(del0) != Sign(del1) && Abs(d) > Abs(3.0 * del0))
        d = 3.0 * del0;
    return d;
}

// Shape-preserving piecewise cubic (Fritsch-Carlson slopes, weighted harmonic mean): passes
// through every knot and stays within the range of each pair of neighbouring knots.
template <size_t N>
constexpr void FillSmooth(Table& io_table, int in_iColumn, const Knot (&in_knots)[N])
{
    static_assert(N >= 3, "the end slopes need three knots");
    double h[N - 1] = {};
    double del[N - 1] = {};
    double d[N] = {};
    for (size_t j = 0; j + 1 < N; ++j) {
        h[j] = in_knots[j + 1].iPos - in_knots[j].iPos;
        del[j] = (in_knots[j + 1].fValue - in_knots[j].fValue) / h[j];
    }
    for (size_t j = 1; j + 1 < N; ++j) {
        if (del[j - 1] * del[j] <= 0.0)
            continue;
        const double w1 = 2.0 * h[j] + h[j - 1];
        const double w2 = h[j] + 2.0 * h[j - 1];
        d[j] = (w1 + w2) / (w1 / del[j - 1] + w2 / del[j]);
    }
    d[0] = EndSlope(h[0], h[1], del[0], del[1]);
    d[N - 1] = EndSlope(h[N - 2], h[N - 3], del[N - 2], del[N - 3]);

    size_t j = 0;
    for (int i = 0; i < static_cast<int>(LOOKUP_POSITIONS); ++i) {
        while (j + 2 < N && i > in_knots[j + 1].iPos)
            ++j;
        const double t = (i - in_knots[j].iPos) / h[j];
        const double u = 1.0 - t;
        const double v = (1.0 + 2.0 * t) * u * u * in_knots[j].fValue + t * u * u * h[j] * d[j] +
                         t * t * (3.0 - 2.0 * t) * in_knots[j + 1].fValue - t * t * u * h[j] * d[j + 1];
        io_table[2 * i + in_iColumn] = static_cast<float>(v);
    }
}

template <size_t NP, size_t NN>
constexpr Table MakeLinear(const Knot (&in_pos)[NP], const Knot (&in_neg)[NN])
{
    Table table{};
    FillLinear(table, 0, in_pos);
    FillLinear(table, 1, in_neg);
    return table;
}

template <size_t NP, size_t NN>
constexpr Table MakeSmooth(const Knot (&in_pos)[NP], const Knot (&in_neg)[NN])
{
    Table table{};
    FillSmooth(table, 0, in_pos);
    FillSmooth(table, 1, in_neg);
    return table;
}

// Breakpoints, position:value on the 16-bit scale. The silence value stands in for every
// -2230.2 so that all tables share the same start.
constexpr Knot kCrackedActorPos[] = {{0, S}, {124, 22816.8}, {860, 20243.5}};
constexpr Knot kCrackedActorNeg[] = {{0, S},         {44, 7033.8},   {80, 10979.5},
                                     {111, 13552.8}, {158, 15096.8}, {860, 11837.3}};
constexpr Knot kCrackedActressPos[] = {{0, S}, {150, 27791.9}, {860, 27620.4}};
constexpr Knot kCrackedActressNeg[] = {{0, S}, {860, 10464.9}};
constexpr Knot kFaultyTransistorPos[] = {{0, S}, {101, 171.6}, {103, 12180.4}, {860, S}};
constexpr Knot kFaultyTransistorNeg[] = {{0, S}, {216, 171.6}, {218, 11837.3}, {860, S}};
constexpr Knot kBadBreakupPos[] = {{0, S},         {711, 27105.7}, {728, 18356.4}, {754, 27620.4}, {761, 9778.6},
                                   {789, 27448.8}, {824, 9607.1},  {859, 32767.0}, {860, 32767.0}};
constexpr Knot kBadBreakupNeg[] = {{0, S},         {689, 25047.0}, {706, 10293.3}, {711, 17327.1},
                                   {713, 25561.7}, {761, 23331.5}, {796, 8406.2},  {797, 19900.4},
                                   {824, 29507.5}, {860, 32767.0}};
constexpr Knot kAcidFuzzPos[] = {{0, S}, {184, 15268.4}, {860, 15268.4}};
constexpr Knot kAcidFuzzNeg[] = {{0, S}, {859, 11494.2}, {860, S}};
constexpr Knot kUncontrolledStaticPos[] = {{0, S}, {1, 16640.8}, {859, 171.6}, {860, 11837.3}};
constexpr Knot kUncontrolledStaticNeg[] = {{0, S},       {1, 16640.8},    {857, 171.6},
                                           {858, 171.6}, {859, 2401.8},   {860, 11837.3}};
constexpr Knot kStomperPos[] = {{0, S}, {57, 15268.4}, {860, 8406.2}};
constexpr Knot kStomperNeg[] = {{0, S}, {85, 15268.4}, {860, 11837.3}};
constexpr Knot kNoiseArtPos[] = {{0, S}, {1, 19900.4}, {860, 19900.4}};
constexpr Knot kNoiseArtNeg[] = {{0, S}, {1, 19900.4}, {860, 19557.3}};

// Points on the two smooth curves.
constexpr Knot kCitrusPulpPos[] = {{0, S},       {36, -1434},   {187, 3261},   {729, 19298}, {790, 21712},
                                   {808, 21515}, {822, 20307},  {834, 18189},  {846, 14925}, {860, 9954}};
constexpr Knot kCitrusPulpNeg[] = {{0, S},      {5, -1608},    {12, 532},     {26, 6732},   {39, 12338},
                                   {50, 15996}, {61, 18476},   {73, 19986},   {88, 20589},  {112, 19993},
                                   {177, 17276}, {849, -1809}, {860, -1993}};
constexpr Knot kIronFuzzPos[] = {{0, S},       {8, -1589},    {18, 412},     {51, 9661},   {65, 12551},
                                 {79, 14319},  {96, 15249},   {124, 15222},  {209, 13948}, {860, 8477}};
constexpr Knot kIronFuzzNeg[] = {{0, S},       {10, -1563},   {23, 614},     {64, 9929},   {81, 12798},
                                 {98, 14534},  {119, 15373},  {164, 15141},  {310, 14272}, {860, 11874}};

constexpr Table kCrackedActor = MakeLinear(kCrackedActorPos, kCrackedActorNeg);
constexpr Table kCrackedActress = MakeLinear(kCrackedActressPos, kCrackedActressNeg);
constexpr Table kFaultyTransistor = MakeLinear(kFaultyTransistorPos, kFaultyTransistorNeg);
constexpr Table kBadBreakup = MakeLinear(kBadBreakupPos, kBadBreakupNeg);
constexpr Table kCitrusPulp = MakeSmooth(kCitrusPulpPos, kCitrusPulpNeg);
constexpr Table kAcidFuzz = MakeLinear(kAcidFuzzPos, kAcidFuzzNeg);
constexpr Table kUncontrolledStatic = MakeLinear(kUncontrolledStaticPos, kUncontrolledStaticNeg);
constexpr Table kStomper = MakeLinear(kStomperPos, kStomperNeg);
constexpr Table kIronFuzz = MakeSmooth(kIronFuzzPos, kIronFuzzNeg);
constexpr Table kNoiseArt = MakeLinear(kNoiseArtPos, kNoiseArtNeg);

static_assert(kCitrusPulp[0] == KvSkrel::LOOKUP_SILENCE && kCitrusPulp[1] == KvSkrel::LOOKUP_SILENCE,
              "every table starts at the silence value");

constexpr const float* kTables[] = {
    kCrackedActor.data(), kCrackedActress.data(), kCrackedActress.data(), kFaultyTransistor.data(),
    kBadBreakup.data(),   kCitrusPulp.data(),     kAcidFuzz.data(),       kUncontrolledStatic.data(),
    kStomper.data(),      kIronFuzz.data(),       kNoiseArt.data(),
};

constexpr uint32_t FIRST_LOOKUP_ALGORITHM = 37;

} // namespace

const float* DistortionLookupTable(uint32_t in_uAlgorithm)
{
    if (in_uAlgorithm < FIRST_LOOKUP_ALGORITHM || in_uAlgorithm >= FIRST_LOOKUP_ALGORITHM + 11)
        return nullptr;
    return kTables[in_uAlgorithm - FIRST_LOOKUP_ALGORITHM];
}
