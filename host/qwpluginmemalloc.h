// The host's allocator: every byte of the module comes from here.
#pragma once
#include <cstddef>
#include <cstdint>

class QwPluginMemAlloc
{
public:
    virtual void* Malloc(size_t in_uSize, const char* in_pszFile, int32_t in_iLine) = 0;
    virtual void* MallocAligned(size_t in_uSize, uint32_t in_uAlignment, const char* in_pszFile,
                                int32_t in_iLine) = 0;
    virtual void Free(void* in_pMemory) = 0;

protected:
    ~QwPluginMemAlloc() = default;
};
