// Plug-in media from a file a host chose: the reverb's model, the box modeler's response.
#pragma once
#include <cstdint>
#include <string>
#include <vector>
#include "qwfx/lib/qweffectmeta.h"

// Reverb: a model record as it stands, or an audio file taken as a room response to fit.
// Box modeler: the first channel of an audio file, packed as qwfx render --ir packs it.
bool QwLv2MediaFromFile(const QwEffectMeta& in_meta, uint32_t in_uSampleRate, const std::string& in_sPath,
                        std::vector<uint8_t>& out_media, std::string& out_sError);

// Fits a measured room response to the reverb's model record. The fitter (ReverbModeler) is
// not part of the host library yet, so this refuses every file with a message that says so;
// once it is, this is the one function to fill in.
bool QwLv2ReverbModelFromRoomResponse(const std::string& in_sPath, uint32_t in_uSampleRate,
                                      std::vector<uint8_t>& out_media, std::string& out_sError);
