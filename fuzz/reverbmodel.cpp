// The reverb's model record as plug-in media: Init with it, then a few blocks. At 8 kHz, since
// the record's format does not depend on the rate and the set-up is six times quicker.
#include "fuzz/fuzzhost.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* in_pData, size_t in_uSize)
{
    const QwPluginRegistration* pRecord = fuzzhost::Record(0);
    const uint32_t uConfig = QwFindLayout("stereo")->ChannelConfig();
    QwHostAllocator allocator;
    allocator.SetLimit(fuzzhost::MEMORY_LIMIT);
    QwEffectInstance instance(allocator);
    if (instance.CreateParams(*pRecord, {}, 0) == QW_Success &&
        instance.CreateEffect(*pRecord, QwFormat{8000, uConfig, 0}, 256,
                              std::vector<uint8_t>(in_pData, in_pData + in_uSize)) == QW_Success)
        fuzzhost::RunBlocks(*instance.Effect(), uConfig, 256);
    fuzzhost::ReleaseBalanced(instance, allocator);
    return 0;
}
