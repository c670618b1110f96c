// Assertions report through the module's hook slot and never stop the code.
#pragma once

typedef void (*QwAssertHookFn)(const char* in_pszExpression, const char* in_pszFile, int in_iLine);

struct QwPluginRegistration;

// The module's two words of data: the exported list head and, directly behind it,
// the assertion slot. The host reaches the slot as the pointer-sized word that follows
// the address of g_pQWPluginList.
struct QwModuleSlots
{
    QwPluginRegistration* pPluginList;
    QwAssertHookFn QwAssertHook;
};

extern "C" QwModuleSlots g_qwModuleSlots;

// Deliberately unguarded: with the slot still null a firing assertion calls through null.
#define QW_ASSERT_TEXT(cond, text)                                          \
    do {                                                                    \
        if (!(cond))                                                        \
            g_qwModuleSlots.QwAssertHook((text), __FILE__, __LINE__);       \
    } while (0)

#define QW_ASSERT(expr) QW_ASSERT_TEXT(expr, #expr)
