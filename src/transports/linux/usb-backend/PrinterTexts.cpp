#include "transports/linux/usb-backend/PrinterTexts.h"

#include <algorithm>

namespace harrowmint::usb {

namespace {

constexpr std::string_view blanks(" \t\r\n\f\v\0", 7);

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

char lower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

/// The bytes of the UTF-8 character that `text` begins with (RFC 3629); 0 when it begins with none.
std::size_t characterBytes(std::string_view text)
{
    const auto byte = [text](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    const auto follows = [byte](std::size_t i) { return (byte(i) & 0xC0U) == 0x80U; };
    const unsigned lead = byte(0);
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        return follows(1) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        const unsigned least = lead == 0xE0 ? 0xA0 : 0x80; // overlong below
        const unsigned most = lead == 0xED ? 0x9F : 0xBF; // surrogates above
        return byte(1) >= least && byte(1) <= most && follows(2) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const unsigned least = lead == 0xF0 ? 0x90 : 0x80;
        const unsigned most = lead == 0xF4 ? 0x8F : 0xBF; // beyond U+10FFFF above
        return byte(1) >= least && byte(1) <= most && follows(2) && follows(3) ? 4 : 0;
    }
    return 0;
}

/// Whether the UTF-8 character is a control or ends a line.
bool isControl(std::string_view character)
{
    const auto first = static_cast<unsigned char>(character.front());
    if (character.size() == 1)
        return first < 0x20 || first == 0x7F;
    return (character.size() == 2 && first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0) // U+0080 to 009F
        || character == "\xE2\x80\xA8" || character == "\xE2\x80\xA9"; // U+2028, U+2029
}

} // namespace

bool equalIgnoringCase(std::string_view left, std::string_view right)
{
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) { return lower(a) == lower(b); });
}

bool agreeIgnoringCase(std::string_view left, std::string_view right)
{
    const std::string_view shorter = trimmed(left.size() < right.size() ? left : right);
    const std::string_view longer = trimmed(left.size() < right.size() ? right : left);
    return !shorter.empty()
        && std::search(longer.begin(), longer.end(), shorter.begin(), shorter.end(),
               [](char a, char b) { return lower(a) == lower(b); })
        != longer.end();
}

std::string deviceIdValue(std::string_view deviceId, std::initializer_list<std::string_view> keys)
{
    for (const std::string_view wanted : keys) {
        for (std::string_view rest = deviceId; !rest.empty();) {
            const std::string_view field = rest.substr(0, rest.find(';'));
            rest.remove_prefix(std::min(field.size() + 1, rest.size()));
            const std::size_t colon = field.find(':');
            if (colon != std::string_view::npos && equalIgnoringCase(trimmed(field.substr(0, colon)), wanted))
                return std::string(trimmed(field.substr(colon + 1)));
        }
    }
    return {};
}

std::string_view shortened(std::string_view text, std::size_t limit)
{
    std::size_t end = 0;
    while (end < text.size()) {
        const std::size_t next = end + std::max<std::size_t>(characterBytes(text.substr(end)), 1);
        if (next > limit)
            break;
        end = next;
    }
    return text.substr(0, end);
}

std::string lineText(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t bytes = characterBytes(text);
        if (bytes == 0)
            result += '?';
        else if (isControl(text.substr(0, bytes)))
            result += ' ';
        else
            result += text.substr(0, bytes);
        text.remove_prefix(std::max<std::size_t>(bytes, 1));
    }
    return result;
}

} // namespace harrowmint::usb
