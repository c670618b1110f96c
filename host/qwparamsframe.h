// What every parameter object shares: Clone, Init with defaults, Term and the block read with
// its size check. Derived supplies SetDefaults(), ReadBlock(reader) and SetAllDirty().
#pragma once
#include <new>
#include "host/qwassert.h"
#include "host/qwparamblockreader.h"
#include "host/qwplugin.h"

template <class Derived>
class QwParamsFrame : public QwPluginParam
{
public:
    QwPluginParam* Clone(QwPluginMemAlloc* in_pAllocator) override
    {
        void* pMemory = in_pAllocator->Malloc(sizeof(Derived), __FILE__, __LINE__);
        if (!pMemory)
            return nullptr;
        Derived* pCopy = new (pMemory) Derived(static_cast<const Derived&>(*this));
        pCopy->SetAllDirty();
        return pCopy;
    }

    QwResult Init(QwPluginMemAlloc*, const void* in_pBlock, uint32_t in_ulBlockSize) override
    {
        if (in_ulBlockSize == 0) {
            Self().SetDefaults();
            Self().SetAllDirty();
            return QW_Success;
        }
        return SetParamsBlock(in_pBlock, in_ulBlockSize);
    }

    QwResult Term(QwPluginMemAlloc* in_pAllocator) override
    {
        this->~QwParamsFrame();
        if (in_pAllocator)
            in_pAllocator->Free(this);
        return QW_Success;
    }

    // Every field is read and stored before the size is compared; a wrong size is reported
    // and the values are kept all the same.
    QwResult SetParamsBlock(const void* in_pBlock, uint32_t in_ulBlockSize) override
    {
        QwParamBlockReader reader(in_pBlock);
        Self().ReadBlock(reader);
        QW_ASSERT_TEXT(in_ulBlockSize == 0 || reader.Consumed() == in_ulBlockSize,
                       "in_ulBlockSize == 0 || eResult != QW_Success");
        Self().SetAllDirty();
        return QW_Success;
    }

    // Parameter factory: no values are set until Init.
    static QwPluginParam* Create(QwPluginMemAlloc* in_pAllocator)
    {
        void* pMemory = in_pAllocator->Malloc(sizeof(Derived), __FILE__, __LINE__);
        if (!pMemory)
            return nullptr;
        return new (pMemory) Derived();
    }

private:
    Derived& Self() { return static_cast<Derived&>(*this); }
};
