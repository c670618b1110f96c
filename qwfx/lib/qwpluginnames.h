// The short names by which users call the module's effects, fixed per plug-in id.
#pragma once
#include <cstdint>
#include <string>

// "reverb", "distortion", ... or null for an id the module does not use.
const char* QwShortNameForPluginId(uint32_t in_uPluginId);
// A short name or a plug-in id written as a decimal number; false when it is neither.
bool QwPluginIdFromName(const std::string& in_sName, uint32_t& out_uPluginId);
// All short names, comma separated, in plug-in id order (for error messages).
std::string QwAllShortNames();
