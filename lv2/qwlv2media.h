// Plug-in media from a file a host chose: the reverb's model, the box modeler's response.
#pragma once
#include <cstdint>
#include <string>
#include <vector>
#include "qwfx/lib/qweffectmeta.h"

// Reverb: a model record as it stands, or an audio file taken as a room response and fitted
// for the order in in_values (the current value of every table row). Box modeler: the first
// channel of an audio file, packed as qwfx render --ir packs it. out_notes gets what the fit
// reported along the way.
bool QwLv2MediaFromFile(const QwEffectMeta& in_meta, uint32_t in_uSampleRate, const std::vector<uint32_t>& in_values,
                        const std::string& in_sPath, std::vector<uint8_t>& out_media, bool& out_bFitted,
                        std::vector<std::string>& out_notes, std::string& out_sError);

// The reverb's order, as the effect builds it (16 or 8), from the current values.
uint32_t QwLv2ReverbOrder(const QwEffectMeta& in_meta, const std::vector<uint32_t>& in_values);
