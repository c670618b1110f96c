// Audio files through libsndfile: read anything it reads, write 32-bit float WAV.
#pragma once
#include <string>
#include "qwfx/lib/qwplanaraudio.h"

// Samples come back as floats at full scale 1, whatever the file's sample format.
bool QwReadAudioFile(const std::string& in_sPath, QwPlanarAudio& out_audio, std::string& out_sError);

// Writes a temporary file beside the target and renames it into place, so that a failed
// write never leaves a partial file under the target's name.
bool QwWriteFloatWav(const std::string& in_sPath, const QwPlanarAudio& in_audio, std::string& out_sError);

// The whole file as bytes (parameter blocks, media).
bool QwReadBinaryFile(const std::string& in_sPath, std::vector<uint8_t>& out_bytes, std::string& out_sError);
