#include "qwfx/lib/qwassertlog.h"

namespace {
QwAssertLog* s_pCurrent = nullptr;
}

QwAssertLog::QwAssertLog() : m_pPrevious(s_pCurrent) { s_pCurrent = this; }

QwAssertLog::~QwAssertLog() { s_pCurrent = m_pPrevious; }

void QwAssertLog::Hook(const char* in_pszExpression, const char* in_pszFile, int in_iLine)
{
    if (s_pCurrent)
        s_pCurrent->Add(in_pszExpression, in_pszFile, in_iLine);
}

void QwAssertLog::Add(const char* in_pszExpression, const char* in_pszFile, int in_iLine)
{
    const std::string sExpression = in_pszExpression ? in_pszExpression : "";
    const std::string sFile = in_pszFile ? in_pszFile : "";
    for (auto& record : m_records) {
        if (record.iLine == in_iLine && record.sExpression == sExpression && record.sFile == sFile) {
            ++record.uCount;
            return;
        }
    }
    m_records.push_back(QwAssertRecord{sExpression, sFile, in_iLine, 1});
}

size_t QwAssertLog::Total() const
{
    size_t uTotal = 0;
    for (const auto& record : m_records)
        uTotal += record.uCount;
    return uTotal;
}

size_t QwAssertLog::Count(const std::string& in_sExpression) const
{
    size_t uTotal = 0;
    for (const auto& record : m_records)
        if (record.sExpression == in_sExpression)
            uTotal += record.uCount;
    return uTotal;
}
