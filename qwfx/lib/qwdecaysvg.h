// An SVG sheet of energy decay curves, one panel an octave: a measured response beside its
// model's replay.
#pragma once
#include <string>
#include <vector>
#include "qwfx/lib/qwroomacoustics.h"

// Bands are matched by centre frequency; in_fRate converts samples to seconds.
std::string QwDecayCurvesSvg(const std::string& in_sTitle, double in_fRate, const std::vector<QwBandDecay>& in_measured,
                             const std::vector<QwBandDecay>& in_model);
