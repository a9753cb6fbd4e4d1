#include "render/QRCode.h"

#include <memory>
#include <qrencode.h>

namespace harrowmint {

std::optional<QRCode> QRCode::encode(const QByteArray& payload)
{
    constexpr int smallestVersion = 0;
    const auto* bytes = reinterpret_cast<const unsigned char*>(payload.constData());
    const std::unique_ptr<::QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeData(int(payload.size()), bytes, smallestVersion, QR_ECLEVEL_M), &QRcode_free);
    if (!code)
        return std::nullopt;
    QRCode result{code->width, QByteArray(qsizetype(code->width) * code->width, '\0')};
    for (qsizetype i = 0; i < result.dark.size(); ++i)
        result.dark[i] = char(code->data[i] & 1);
    return result;
}

std::vector<QRect> QRCode::areas(int scale, int paperWidth, int top) const
{
    const int left = (paperWidth - modules * scale) / 2;
    const int codeTop = top + quietZone * scale;
    std::vector<QRect> result;
    for (int y = 0; y < modules; ++y) {
        const char* row = dark.constData() + qsizetype(y) * modules;
        for (int x = 0; x < modules;) {
            int end = x;
            while (end < modules && row[end])
                ++end;
            if (end > x)
                result.emplace_back(left + x * scale, codeTop + y * scale, (end - x) * scale, scale);
            x = end + 1;
        }
    }
    return result;
}

} // namespace harrowmint
