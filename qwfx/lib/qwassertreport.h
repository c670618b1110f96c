// The assertions the module reported, listed for a user on a stream (stderr).
#pragma once
#include <string>
#include <cstdio>
#include "qwfx/lib/qwassertlog.h"

// Nothing when none fired; otherwise a count line and one line per assertion.
void QwPrintAssertReport(const QwAssertLog& in_log, std::FILE* io_pStream);

// The log folded into one clause for an error line: "" when nothing fired, else the count and
// the first assertion, e.g. "; 2 assertions fired, first \"false\" at x.cpp:12".
std::string QwAssertSummary(const QwAssertLog& in_log);
