// The box modeler's impulse response record as plug-in media: Init with it, then a few blocks,
// at a largest block that needs no ring (256) or one that does (1000), by the record's length.
#include "fuzz/fuzzhost.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* in_pData, size_t in_uSize)
{
    const QwPluginRegistration* pRecord = fuzzhost::Record(1);
    const uint32_t uConfig = QwFindLayout("stereo")->ChannelConfig();
    const uint16_t uMaxFrames = in_uSize & 1 ? 1000 : 256;
    QwHostAllocator allocator;
    allocator.SetLimit(fuzzhost::MEMORY_LIMIT);
    QwEffectInstance instance(allocator);
    if (instance.CreateParams(*pRecord, {}, 0) == QW_Success &&
        instance.CreateEffect(*pRecord, QwFormat{48000, uConfig, 0}, uMaxFrames,
                              std::vector<uint8_t>(in_pData, in_pData + in_uSize)) == QW_Success)
        fuzzhost::RunBlocks(*instance.Effect(), uConfig, uMaxFrames);
    fuzzhost::ReleaseBalanced(instance, allocator);
    return 0;
}
