// What processes share (keys, values, messages) must not follow the locale that one of them chose for its users: with
// it, 1.5 may be "1,5", and "SIP" other than "sip".
#pragma once

#include <locale.h>

namespace tarn::detail {

inline const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);

// The C locale for the calls of the thread that makes it, while it lives.
class CLocaleScope {
 public:
    CLocaleScope() : former_(uselocale(cLocale)) {}
    ~CLocaleScope() { uselocale(former_); }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

 private:
    const locale_t former_;
};

} // namespace tarn::detail
