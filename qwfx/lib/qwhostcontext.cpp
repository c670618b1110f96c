#include "qwfx/lib/qwhostcontext.h"

void QwHostContext::GetPluginMedia(uint32_t in_uIndex, const uint8_t*& out_pData, uint32_t& out_uSize)
{
    if (in_uIndex != 0 || m_media.empty()) {
        out_pData = nullptr;
        out_uSize = 0;
        return;
    }
    out_pData = m_media.data();
    out_uSize = static_cast<uint32_t>(m_media.size());
}
