#include "platform/posix/utf8_locale.h"

#include <initializer_list>

namespace platform::posix {

namespace {

class OwnedLocale {
public:
    OwnedLocale() noexcept {
        for (const char* name : {"C.UTF-8", "C.utf8", "en_US.UTF-8"}) {
            if ((m_locale = newlocale(LC_CTYPE_MASK, name, locale_t{})) != locale_t{}) {
                return;
            }
        }
    }
    ~OwnedLocale() {
        if (m_locale != locale_t{}) {
            freelocale(m_locale);
        }
    }
    OwnedLocale(const OwnedLocale&) = delete;
    OwnedLocale& operator=(const OwnedLocale&) = delete;

    locale_t Get() const noexcept { return m_locale; }

private:
    locale_t m_locale{};
};

} // namespace

locale_t Utf8CtypeLocale() noexcept {
    static const OwnedLocale locale;
    return locale.Get();
}

} // namespace platform::posix
