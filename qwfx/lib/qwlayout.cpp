#include "qwfx/lib/qwlayout.h"
#include "host/qwtypes.h"

namespace {
const QwLayout LAYOUTS[] = {
    {"mono", 1, QW_MASK_MONO}, {"stereo", 2, QW_MASK_STEREO}, {"4.0", 4, QW_MASK_4_0},
    {"5.0", 5, QW_MASK_5_0},   {"5.1", 6, QW_MASK_5_1},       {"7.1", 8, QW_MASK_7_1},
};
}

const QwLayout* QwFindLayout(const std::string& in_sName)
{
    for (const QwLayout& layout : LAYOUTS)
        if (in_sName == layout.pszName)
            return &layout;
    return nullptr;
}

const QwLayout* QwDefaultLayout(uint32_t in_uChannels)
{
    for (const QwLayout& layout : LAYOUTS)
        if (layout.uChannels == in_uChannels)
            return &layout;
    return nullptr;
}

uint32_t QwChannelConfigFor(uint32_t in_uChannels, const QwLayout* in_pLayout)
{
    return in_pLayout ? in_pLayout->ChannelConfig() : (in_uChannels & 0xFFu);
}

std::string QwLayoutNames()
{
    std::string sNames;
    for (const QwLayout& layout : LAYOUTS) {
        if (!sNames.empty())
            sNames += ", ";
        sNames += layout.pszName;
    }
    return sNames;
}
