// The assertions the module reported, listed for a user on a stream (stderr).
#pragma once
#include <cstdio>
#include "qwfx/lib/qwassertlog.h"

// Nothing when none fired; otherwise a count line and one line per assertion.
void QwPrintAssertReport(const QwAssertLog& in_log, std::FILE* io_pStream);
