#include "e2e/AgentProcess.h"
#include "support/Files.h"

#include <QDir>
#include <QImage>
#include <ZXing/DecodeHints.h>
#include <ZXing/ReadBarcode.h>
#include <gtest/gtest.h>

using namespace harrowmint::test;

namespace {

const QByteArray store = "https://demo.harrowmint.example";
const auto papersDirectory = QStringLiteral("Library/Application Support/Harrowmint Printer Demo/Papers");

QStringList codesOn(const QImage& paper)
{
    const QImage grey = paper.convertToFormat(QImage::Format_Grayscale8);
    const ZXing::ImageView view(
        grey.constBits(), grey.width(), grey.height(), ZXing::ImageFormat::Lum, static_cast<int>(grey.bytesPerLine()));
    QStringList texts;
    const auto hints = ZXing::DecodeHints().setFormats(ZXing::BarcodeFormat::QRCode).setTryHarder(true);
    for (const auto& code : ZXing::ReadBarcodes(view, hints))
        texts.append(QString::fromStdWString(code.text()));
    return texts;
}

} // namespace

TEST(DemoAgent, PrintsTheSamplesOnPaperWhoseCodesCanBeRead)
{
    const TemporaryDirectory home;
    AgentProcess agent(QStringLiteral("harrowmint-printer-demo"), home.path());
    static_cast<void>(post(store, sample(QStringLiteral("invoice-10.json"))));
    agent.waitForLog("Sent to USB printer. Please check the paper.");
    static_cast<void>(post(store, sample(QStringLiteral("receipt-document.json"))));
    agent.waitForLog("Sent to USB printer. Please check the paper.", 2);

    const QDir papers(home.filePath(papersDirectory));
    const QStringList names = papers.entryList({QStringLiteral("*.png")}, QDir::Files, QDir::Name);
    ASSERT_EQ(names.size(), 2);
    const QImage invoice(papers.filePath(names[0]));
    EXPECT_EQ(invoice.width(), 576);
    EXPECT_EQ(codesOn(invoice), QStringList{QStringLiteral("https://shop.example.com/")});
    EXPECT_EQ(codesOn(QImage(papers.filePath(names[1]))).size(), 1);
}
