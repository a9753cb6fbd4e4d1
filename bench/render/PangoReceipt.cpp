#include "PangoReceipt.h"

#include "base/EscPos.h"

#include <algorithm>
#include <memory>
#include <pango/pangocairo.h>
#include <qrencode.h>
#include <vector>

namespace harrowmint::bench {

namespace {

constexpr int paperWidth = 576;
constexpr int columnWidth = 544;
constexpr int margin = 16;

template <auto Release>
struct Releaser {
    template <class T>
    void operator()(T* object) const
    {
        Release(object);
    }
};

using LayoutHandle = std::unique_ptr<PangoLayout, Releaser<g_object_unref>>;
using SurfaceHandle = std::unique_ptr<cairo_surface_t, Releaser<cairo_surface_destroy>>;
using CairoHandle = std::unique_ptr<cairo_t, Releaser<cairo_destroy>>;
using CodeHandle = std::unique_ptr<QRcode, Releaser<QRcode_free>>;

struct Line {
    LayoutHandle layout; ///< none for a rule
    int advance = 12;
};

/// Warm, as ours: the context and its font map live as long as the process.
PangoContext* context()
{
    static PangoContext* const shared = [] {
        PangoContext* created = pango_font_map_create_context(pango_cairo_font_map_get_default());
        pango_cairo_context_set_resolution(created, 72);
        cairo_font_options_t* options = cairo_font_options_create();
        cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
        cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
        cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
        pango_cairo_context_set_font_options(created, options);
        cairo_font_options_destroy(options);
        return created;
    }();
    return shared;
}

Line measure(const ReceiptLine& line)
{
    if (line.text == ruleText())
        return {};
    LayoutHandle layout(pango_layout_new(context()));
    PangoFontDescription* font = pango_font_description_new();
    pango_font_description_set_family_static(font, "DejaVu Sans");
    pango_font_description_set_absolute_size(font, line.size * PANGO_SCALE);
    pango_font_description_set_weight(font, line.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_layout_set_font_description(layout.get(), font);
    pango_font_description_free(font);
    pango_layout_set_width(layout.get(), columnWidth * PANGO_SCALE);
    pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_alignment(layout.get(), line.centered ? PANGO_ALIGN_CENTER : PANGO_ALIGN_LEFT);
    const QByteArray text = line.text.toUtf8();
    pango_layout_set_text(layout.get(), text.constData(), int(text.size()));
    int height = 0;
    pango_layout_get_pixel_size(layout.get(), nullptr, &height);
    return {std::move(layout), height + 10};
}

void drawCode(cairo_t* cairo, const QRcode& code, int scale, int top)
{
    const int left = (paperWidth - code.width * scale) / 2;
    for (int y = 0; y < code.width; ++y) {
        for (int x = 0; x < code.width; ++x) {
            if (code.data[y * code.width + x] & 1)
                cairo_rectangle(cairo, left + x * scale, top + (4 + y) * scale, scale, scale);
        }
    }
    cairo_fill(cairo);
}

void draw(cairo_t* cairo, const std::vector<Line>& lines)
{
    int y = 12;
    for (const Line& line : lines) {
        if (line.layout) {
            cairo_move_to(cairo, margin, y);
            pango_cairo_show_layout(cairo, line.layout.get());
        } else {
            cairo_rectangle(cairo, margin, y + 1, columnWidth, 2);
            cairo_fill(cairo);
        }
        y += line.advance;
    }
}

void packRGB(const unsigned char* row, char* out)
{
    for (int x = 0; x < paperWidth; x += 8, ++out) {
        unsigned byte = 0;
        for (int bit = 0; bit < 8; ++bit) {
            const unsigned char* pixel = row + std::ptrdiff_t(x + bit) * 4;
            byte = byte << 1 | unsigned(pixel[0] + pixel[1] + pixel[2] < 450);
        }
        *out = char(byte);
    }
}

void packAlpha(const unsigned char* row, char* out)
{
    for (int x = 0; x < paperWidth; x += 8, ++out) {
        unsigned byte = 0;
        for (int bit = 0; bit < 8; ++bit)
            byte = byte << 1 | unsigned(row[x + bit] > 105);
        *out = char(byte);
    }
}

template <std::size_t Size>
void append(QByteArray& stream, const std::uint8_t (&bytes)[Size])
{
    stream.append(reinterpret_cast<const char*>(bytes), Size);
}

QByteArray framed(cairo_surface_t* surface, PangoSurface kind)
{
    cairo_surface_flush(surface);
    const unsigned char* pixels = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    const int height = cairo_image_surface_get_height(surface);
    QByteArray stream;
    stream.reserve(height * (paperWidth / 8) + 1024);
    append(stream, escpos::initialise);
    append(stream, escpos::justifyLeft);
    for (int y = 0; y < height; ++y) {
        if (y % escpos::maximumBandRows == 0) {
            const int rows = std::min(escpos::maximumBandRows, height - y);
            append(stream, escpos::rasterImage);
            stream.append(char(paperWidth / 8)).append('\0').append(char(rows % 256)).append(char(rows / 256));
        }
        char row[paperWidth / 8];
        (kind == PangoSurface::RGB ? packRGB : packAlpha)(pixels + std::ptrdiff_t(y) * stride, row);
        stream.append(row, sizeof row);
    }
    append(stream, escpos::feedFourLines);
    return stream;
}

} // namespace

QByteArray pangoReceipt(const Receipt& receipt, PangoSurface kind)
{
    std::vector<Line> lines;
    int height = 24 + 24 + 160;
    for (const ReceiptLine& line : receipt.lines) {
        lines.push_back(measure(line));
        height += lines.back().advance;
    }
    CodeHandle code;
    int scale = 0;
    if (!receipt.website.isEmpty()) {
        const QByteArray payload = receipt.website.toUtf8();
        code.reset(QRcode_encodeData(
            int(payload.size()), reinterpret_cast<const unsigned char*>(payload.constData()), 0, QR_ECLEVEL_M));
        scale = 280 / (code->width + 8);
        height += (code->width + 8) * scale + 12;
    }
    const bool alpha = kind == PangoSurface::Alpha;
    const SurfaceHandle surface(
        cairo_image_surface_create(alpha ? CAIRO_FORMAT_A8 : CAIRO_FORMAT_RGB24, paperWidth, height));
    const CairoHandle cairo(cairo_create(surface.get()));
    if (!alpha) {
        cairo_set_source_rgb(cairo.get(), 1, 1, 1);
        cairo_paint(cairo.get());
    }
    cairo_set_source_rgb(cairo.get(), 0, 0, 0);
    draw(cairo.get(), lines);
    if (code)
        drawCode(cairo.get(), *code, scale, height - 24 - 160 - 12 - (code->width + 8) * scale - 12);
    return framed(surface.get(), kind);
}

} // namespace harrowmint::bench
