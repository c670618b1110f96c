// The box modeler's plug-in media on the host side: packing an impulse response into the model
// record (f32 gain in dB, u32 tap count, the taps, little-endian) and a synthetic cabinet.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

enum : uint32_t { QW_BOX_MODEL_MAX_TAPS = 1000000 };

// Refuses a response the effect cannot load: no taps, or more than QW_BOX_MODEL_MAX_TAPS.
bool QwPackBoxModel(const std::vector<float>& in_taps, float in_fGainDb, std::vector<uint8_t>& out_blob,
                    std::string& out_sError);

// One channel (0-based) of an audio file, packed. Errors name the file and the reason.
bool QwBoxModelFromFile(const std::string& in_sPath, uint32_t in_uChannel, float in_fGainDb,
                        std::vector<uint8_t>& out_blob, std::string& out_sError);

// A cabinet-like response: fourth-order high-pass at 80 Hz, a bump at 110 Hz, a presence peak
// at 1.8 kHz and a fourth-order low-pass at 4.5 kHz, with a short fade at its end.
std::vector<float> QwSynthCabinet(uint32_t in_uSampleRate, uint32_t in_uTaps);

// The gain in dB that brings a response to unit energy, so that noise keeps its level.
float QwUnitEnergyGainDb(const std::vector<float>& in_taps);

// A file in the data folder that the build places beside the qwfx executable.
std::string QwDataPath(const std::string& in_sName);
