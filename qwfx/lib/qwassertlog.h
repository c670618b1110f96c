// Records every assertion the module reports: expression text, file, line and how often.
#pragma once
#include <cstddef>
#include <string>
#include <vector>
#include "host/qwassert.h"

struct QwAssertRecord
{
    std::string sExpression;
    std::string sFile;
    int iLine;
    size_t uCount;
};

class QwAssertLog
{
public:
    // Becomes the log that Hook() writes to; the previous one is restored on destruction.
    QwAssertLog();
    ~QwAssertLog();
    QwAssertLog(const QwAssertLog&) = delete;
    QwAssertLog& operator=(const QwAssertLog&) = delete;

    // The function to place in the module's assertion slot.
    static void Hook(const char* in_pszExpression, const char* in_pszFile, int in_iLine);

    const std::vector<QwAssertRecord>& Records() const { return m_records; }
    size_t Total() const;
    // How often an assertion with exactly this expression text fired.
    size_t Count(const std::string& in_sExpression) const;
    void Clear() { m_records.clear(); }

private:
    void Add(const char* in_pszExpression, const char* in_pszFile, int in_iLine);
    std::vector<QwAssertRecord> m_records;
    QwAssertLog* m_pPrevious;
};
