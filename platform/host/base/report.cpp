#include "base/report.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "base/standard_error.h"
#include "tarn_host/host_process.h"

namespace tarn::host {

void report(const char* format, ...) {
    const int savedErrno = errno;
    std::array<char, 1024> line;
    const int prefix = std::snprintf(line.data(), line.size(), "tarn-host[%s]: ", TarnHostProcessName());
    size_t used = static_cast<size_t>(std::max(prefix, 0));
    va_list arguments;
    va_start(arguments, format);
    const int text = std::vsnprintf(line.data() + used, line.size() - used, format, arguments);
    va_end(arguments);
    used = std::min(used + static_cast<size_t>(std::max(text, 0)), line.size() - 2);
    line[used++] = '\n';
    writeStandardError({line.data(), used});
    errno = savedErrno;
}

} // namespace tarn::host
