// Assertions report through the module's hook slot and never stop the code.
#pragma once

typedef void (*QwAssertHookFn)(const char* in_pszExpression, const char* in_pszFile, int in_iLine);

struct QwPluginRegistration;

// The module's two words of data: the list head and, directly behind it, the assertion slot.
// Only the record's name is exported, so to a host g_pQWPluginList is the list head, and the
// slot is the pointer-sized word that follows it.
struct QwModuleSlots
{
    QwPluginRegistration* pPluginList;
    QwAssertHookFn QwAssertHook;
};

extern "C" QwModuleSlots g_pQWPluginList;

// Deliberately unguarded: with the slot still null a firing assertion calls through null.
#define QW_ASSERT_TEXT(cond, text)                                          \
    do {                                                                    \
        if (!(cond))                                                        \
            g_pQWPluginList.QwAssertHook((text), __FILE__, __LINE__);       \
    } while (0)

#define QW_ASSERT(expr) QW_ASSERT_TEXT(expr, #expr)
