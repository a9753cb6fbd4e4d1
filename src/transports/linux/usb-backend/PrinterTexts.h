#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace harrowmint::usb {

/// What a printer says of itself, as read; each text may be empty. A plain value.
struct PrinterTexts {
    std::string manufacturer; ///< the device's string descriptors, UTF-8
    std::string product;
    std::string serial;
    std::string deviceId; ///< IEEE 1284 device id, without its length
    bool isIdUnknown = false; ///< nobody could ask for the device id; otherwise an empty one means that there is none

    bool operator==(const PrinterTexts&) const = default;
};

/// The value of the first of `keys` that `deviceId` ("KEY:value;KEY:value;") holds, without blanks around it; "" when
/// it holds none. The case of a key does not matter; the first of several equal keys counts.
[[nodiscard]] std::string deviceIdValue(std::string_view deviceId, std::initializer_list<std::string_view> keys);

/// Whether the texts differ in the case of ASCII letters at most.
[[nodiscard]] bool equalIgnoringCase(std::string_view left, std::string_view right);

/// Whether both hold more than blanks and one is contained in the other, in either case of ASCII letters.
[[nodiscard]] bool agreeIgnoringCase(std::string_view left, std::string_view right);

/// The beginning of `text`, `limit` bytes at most, that ends with a whole character.
[[nodiscard]] std::string_view shortened(std::string_view text, std::size_t limit);

/// `text` as it may stand on a line of a listing: control characters and whatever else ends a line (Unicode's C1
/// controls, line and paragraph separators) become blanks, bytes that are not UTF-8 question marks.
[[nodiscard]] std::string lineText(std::string_view text);

} // namespace harrowmint::usb
