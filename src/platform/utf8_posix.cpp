#include "platform/utf8.h"

#include <cstdint>

namespace platform {

static_assert(sizeof(wchar_t) == 4, "the POSIX wide text is UTF-32");

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Collects units and counts them, measuring only when there is no room given.
template <class UnitT>
class Sink {
public:
    Sink(UnitT* out, std::size_t outSize) : m_out(outSize == 0 ? nullptr : out), m_size(outSize) {}

    bool Put(UnitT unit) {
        if (m_out) {
            if (m_count == m_size) {
                return false;
            }
            m_out[m_count] = unit;
        }
        ++m_count;
        return true;
    }
    std::size_t Count() const { return m_count; }

private:
    UnitT* m_out;
    std::size_t m_size;
    std::size_t m_count = 0;
};

bool PutUtf8(Sink<char>& sink, char32_t cp) {
    char bytes[4];
    const std::size_t length = EncodeUtf8(cp, bytes);
    for (std::size_t i = 0; i < length; ++i) {
        if (!sink.Put(bytes[i])) {
            return false;
        }
    }
    return true;
}

// Decodes one sequence at `p`; a bad sequence yields U+FFFD and consumes its maximal valid
// prefix (at least one byte), as the Unicode standard recommends.
char32_t DecodeUtf8(const unsigned char*& p) {
    unsigned lead = *p++;
    if (lead < 0x80) {
        return lead;
    }
    int trail;
    char32_t cp;
    unsigned low = 0x80;
    unsigned high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        trail = 1;
        cp = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        trail = 2;
        cp = lead & 0x0F;
        if (lead == 0xE0) {
            low = 0xA0;
        } else if (lead == 0xED) {
            high = 0x9F; // no surrogates
        }
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        trail = 3;
        cp = lead & 0x07;
        if (lead == 0xF0) {
            low = 0x90;
        } else if (lead == 0xF4) {
            high = 0x8F; // nothing above U+10FFFF
        }
    } else {
        return kReplacement;
    }
    for (int i = 0; i < trail; ++i) {
        unsigned byte = *p;
        if (byte < low || byte > high) {
            return kReplacement; // the zero terminator also stops here
        }
        cp = (cp << 6) | (byte & 0x3F);
        ++p;
        low = 0x80;
        high = 0xBF;
    }
    return cp;
}

} // namespace

std::size_t WideToUtf8(const wchar_t* text, char* out, std::size_t outSize) noexcept {
    if (!text) {
        return 0;
    }
    Sink<char> sink(out, outSize);
    for (const wchar_t* p = text;; ++p) {
        auto cp = static_cast<char32_t>(*p);
        if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) {
            cp = kReplacement;
        }
        if (!PutUtf8(sink, cp)) {
            return 0;
        }
        if (cp == 0) {
            return sink.Count();
        }
    }
}

std::size_t Utf8ToWide(const char* text, wchar_t* out, std::size_t outSize) noexcept {
    if (!text) {
        return 0;
    }
    Sink<wchar_t> sink(out, outSize);
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    for (;;) {
        char32_t cp = DecodeUtf8(p);
        if (!sink.Put(static_cast<wchar_t>(cp))) {
            return 0;
        }
        if (cp == 0) {
            return sink.Count();
        }
    }
}

} // namespace platform
