// The constant table of the 48 distortion algorithms, indexed by their stable number.
// Header-only so that the host tool can show the same names without linking the engine.
#pragma once
#include <cstdint>
#include "shareddsp/distortions/skreldistortion/distortion_constants.h"

struct DistortionAlgorithmInfo
{
    const char* pName;
    uint32_t bUsesCharacter; // informational: nothing on the audio path reads it
    float fMaxDriveDb;       // Drive 10 maps to this gain
    float fOutputTrimDb;     // level correction of the wet path
    const char* pDescription;
};

inline constexpr DistortionAlgorithmInfo g_aDistortionAlgorithms[KvSkrel::NUM_DISTORTION_ALGORITHMS] = {
    {"<None>", 0, 40.0f, 0.0f, "No effect"},
    {"Drive - Amp Drainer", 0, 40.0f, -8.0f, "Tube-style overdrive based on triode tubes"},
    {"Drive - Amperical", 0, 4.0f, -8.0f, "Tube-style overdrive similar to 6L6 pentode tubes"},
    {"Distort - Distropia", 0, 40.0f, 0.0f, "A soft clipping effect for general purpose distortion"},
    {"Drive - Harmonic Control", 0, 40.0f, 0.0f, "A nice exciter distortion with strong even and odd order harmonics"},
    {"Drive - Mirror Overdrive", 0, 40.0f, -6.0f, "Transistor-style overdrive with heavy odd harmonics"},
    {"Drive - Smooth Overdrive", 1, 40.0f, -6.0f, "Smooth general purpose overdrive"},
    {"Retro - Straight Fuzz", 1, 40.0f, -3.0f, "Silicon-style fuzz effect with hard clipping"},
    {"Distort - Ten Inch Spike", 0, 40.0f, -7.0f, "Soft clipping with dynamic tone"},
    {"Drive - Tube Drainer", 0, 40.0f, -6.0f, "Tube-style overdrive similar to a 12AX7 preamp"},
    {"Retro - Smooth Fuzz", 0, 40.0f, 0.0f, "Germanium-style fuzz effect with smooth clipping"},
    {"Drive - Nasty Boy", 0, 40.0f, -8.0f, "Tube-style overdrive similar to EL34 pentode tubes"},
    {"Retro - Wrecktifier", 1, 40.0f, 0.0f,
     "Character controls rectification: 0.5 is half-wave rectified, 1.0 is full-wave"},
    {"Distort - Hard Limits", 0, 40.0f, -6.0f, "Hard transistor-style clipping"},
    {"Retro - Positive Fuzz", 1, 40.0f, 0.0f, "Fuzz clipping where only the positive side is clipped"},
    {"Retro - Negative Fuzz", 1, 40.0f, 0.0f, "Fuzz clipping where only the negative side is clipped"},
    {"Drive - Crungey Grunch", 0, 40.0f, 0.0f, "General purpose overdrive with strong odd harmonics"},
    {"Drive - Crunchy Grunge", 0, 40.0f, -3.0f, "Slightly mellower version of Crungey Grunch"},
    {"Distort - Clip Control", 1, 40.0f, 0.0f, "Clipping where Character controls the hardness of the clipping"},
    {"Distort - Delicate Harmonics", 1, 4.0f, 0.0f,
     "Excitation where Character controls the harmonics that are created"},
    {"Distort - Squealer", 0, 24.0f, -30.0f, "A unique sounding distortion with very nonlinear properties"},
    {"Distort - Hot Tin Roof", 0, 40.0f, -20.0f, "Noisy and disruptive distortion "},
    {"Drive - Blues Driver", 0, 40.0f, 0.0f, "A standard overdrive for general purpose distortion"},
    {"Drive - Double Stages", 1, 40.0f, -8.0f, "A two stage overdrive where Character controls a second gain stage"},
    {"Drive - Gentle Push", 0, 12.0f, 0.0f,
     "A just-clipping effect good along or in combination with other distortions"},
    {"Distort - Slight Twist", 0, 12.0f, 0.0f, "Slight distortion for adding a little bite to drums, guitar, keys"},
    {"Faulty - Cold Solder", 0, 12.0f, 0.0f, "A faulty connection causes unique clipping and gating"},
    {"Distort - Little Popper", 0, 12.0f, 0.0f, "Use before other distortions to accent transients and clipping"},
    {"Faulty - Radio Contact", 0, 40.0f, 0.0f, "Similar to the sound of a poorly tuned radio"},
    {"Distort - Elastic Skrel", 1, 24.0f, 0.0f, "An experimental effect with an elastic crushing quality"},
    {"Drive - Tape Saturation", 0, 40.0f, 0.0f,
     "Tape-style saturation for excitation or placing after other distortions"},
    {"Drive - Push Pull", 0, 16.0f, 0.0f, "Crossover distortion inspired by push-pull style amplifiers"},
    {"Drive - Mild Excitement", 0, 16.0f, 0.0f, "Subtle effect until the clipping point is reached."},
    {"Retro - Garage Fuzz", 1, 40.0f, 0.0f, "Skrely fuzz with unique voltage draining properties"},
    {"Retro - Bit Wrench", 1, 40.0f, 0.0f, "Straight bit truncation for lo-fi digital skrel"},
    {"Retro - Cheap Digital", 1, 40.0f, 0.0f, "Lo-fi degradation with bit reduction and sample rate aliasing"},
    {"Retro - Bit Aliasing", 1, 40.0f, 0.0f, "Sample rate aliasing for lo-fi digital skrel"},
    {"Distort - Cracked Actor", 0, 40.0f, -6.0f, "Asymmetric distortion with extreme responses to input drive"},
    {"Distort - Cracked Actress", 0, 40.0f, -6.0f, "Slightly mellower version of Cracked Actor"},
    {"Distort - Rubber Hammer", 0, 4.0f, -6.0f, "Noisy distortion with some rubber tendencies"},
    {"Faulty - Faulty Transistor", 0, 40.0f, 0.0f, "A transistor driven past the point of failure"},
    {"Faulty - Bad Breakup", 0, 40.0f, 0.0f, "Strange gating, clipping and harmonic distortion effects"},
    {"Distort - Citrus Pulp", 0, 40.0f, -8.0f,
     "Nice skrely sounds at low input drives. Extreme breakups at high gains"},
    {"Retro - Acid Fuzz", 0, 40.0f, 0.0f, "A retro acid fuzz-type effect with nonlinear overload properties"},
    {"Faulty - Uncontrolled Static", 0, 40.0f, 0.0f,
     "The static seems random at first, but it does follow the audio in a strange way"},
    {"Distort - Stomper", 0, 40.0f, -8.0f, "Low and skrely at low gains, high and noisy at high gains"},
    {"Retro - Iron Fuzz", 0, 12.0f, -8.0f, "A fuzz distortion with strange overload properties"},
    {"Distort - Noise Art", 0, 40.0f, -6.0f, "Creates very different tones and character depending on drive and level"},
};
