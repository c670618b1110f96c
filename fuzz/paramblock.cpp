// Each effect's packed parameter block, as the host hands it to the parameter object's Init,
// then the effect's Init and a few blocks. Bytes 0 to 2 pick the effect, the largest block and
// sample rate (8 kHz keeps the reverb's set-up quick, 48 kHz is the usual), and the layout;
// the rest is the block.
#include "fuzz/fuzzhost.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* in_pData, size_t in_uSize)
{
    if (in_uSize < 3)
        return 0;
    static const uint16_t s_auMaxFrames[] = {1, 64, 256, 512, 1000, 1536};
    static const char* const s_apszLayouts[] = {"mono", "stereo", "4.0", "5.0", "5.1", "7.1"};
    const QwPluginRegistration* pRecord = fuzzhost::Record(in_pData[0]);
    const QwEffectMeta& meta = *QwFindEffectMeta(pRecord->uPluginID);
    const uint16_t uMaxFrames = s_auMaxFrames[in_pData[1] % 6];
    const uint32_t uConfig = QwFindLayout(s_apszLayouts[in_pData[2] % 6])->ChannelConfig();
    const std::vector<uint8_t> block(in_pData + 3, in_pData + in_uSize);

    QwHostAllocator allocator;
    allocator.SetLimit(fuzzhost::MEMORY_LIMIT);
    QwEffectInstance instance(allocator);
    // The host pads a short block to the effect's size: the module reads every field.
    if (instance.CreateParams(*pRecord, block, meta.uBlockBytes) == QW_Success &&
        instance.CreateEffect(*pRecord, QwFormat{in_pData[1] & 0x80 ? 48000u : 8000u, uConfig, 0}, uMaxFrames,
                              fuzzhost::DefaultMedia(meta)) == QW_Success)
        fuzzhost::RunBlocks(*instance.Effect(), uConfig, uMaxFrames);
    fuzzhost::ReleaseBalanced(instance, allocator);
    return 0;
}
