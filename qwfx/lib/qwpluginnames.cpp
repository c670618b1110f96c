#include "qwfx/lib/qwpluginnames.h"
#include <cstdlib>

namespace {
struct NameEntry
{
    uint32_t uPluginId;
    const char* pszName;
};
const NameEntry NAMES[] = {
    {2, "reverb"},  {3, "distortion"},  {4, "delay"},
    {5, "dynamics"}, {6, "filters"},    {7, "box-modeler"},
    {9, "multiband-distortion"},
};
} // namespace

const char* QwShortNameForPluginId(uint32_t in_uPluginId)
{
    for (const NameEntry& entry : NAMES)
        if (entry.uPluginId == in_uPluginId)
            return entry.pszName;
    return nullptr;
}

bool QwPluginIdFromName(const std::string& in_sName, uint32_t& out_uPluginId)
{
    for (const NameEntry& entry : NAMES) {
        if (in_sName == entry.pszName) {
            out_uPluginId = entry.uPluginId;
            return true;
        }
    }
    if (in_sName.empty() || in_sName.find_first_not_of("0123456789") != std::string::npos || in_sName.size() > 9)
        return false;
    out_uPluginId = static_cast<uint32_t>(std::strtoul(in_sName.c_str(), nullptr, 10));
    return true;
}

std::string QwAllShortNames()
{
    std::string sNames;
    for (const NameEntry& entry : NAMES) {
        if (!sNames.empty())
            sNames += ", ";
        sNames += entry.pszName;
    }
    return sNames;
}
