#include "qwfx/lib/qwassertreport.h"

void QwPrintAssertReport(const QwAssertLog& in_log, std::FILE* io_pStream)
{
    if (in_log.Total() == 0)
        return;
    std::fprintf(io_pStream, "qwfx: %zu assertion%s fired in the module:\n", in_log.Total(),
                 in_log.Total() == 1 ? "" : "s");
    for (const QwAssertRecord& record : in_log.Records())
        std::fprintf(io_pStream, "  \"%s\" at %s:%d, %zu time%s\n", record.sExpression.c_str(), record.sFile.c_str(),
                     record.iLine, record.uCount, record.uCount == 1 ? "" : "s");
}

std::string QwAssertSummary(const QwAssertLog& in_log)
{
    if (in_log.Total() == 0)
        return std::string();
    const QwAssertRecord& first = in_log.Records().front();
    return "; " + std::to_string(in_log.Total()) + (in_log.Total() == 1 ? " assertion" : " assertions") +
           " fired, first \"" + first.sExpression + "\" at " + first.sFile + ":" + std::to_string(first.iLine);
}
