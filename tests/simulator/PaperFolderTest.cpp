#include "simulator/PaperFolder.h"

#include "base/PrinterError.h"
#include "support/Files.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <thread>

namespace harrowmint {
namespace {

using test::readFile;
using test::writeFile;

QImage oneRow(int width)
{
    QImage image(width, 1, QImage::Format_Mono);
    image.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
    image.fill(1);
    return image;
}

template <class Action>
QString failure(Action&& action)
{
    try {
        action();
    } catch (const PrinterError& error) {
        return error.message();
    }
    return {};
}

class PaperFolder : public ::testing::Test {
protected:
    [[nodiscard]] QString path(const char* name) const { return m_folder.filePath(QString::fromLatin1(name)); }
    [[nodiscard]] QString folder() const { return m_folder.path(); }
    [[nodiscard]] QStringList files() const
    {
        return QDir(folder()).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    }

private:
    QTemporaryDir m_folder;
};

TEST_F(PaperFolder, NumbersThePapers)
{
    EXPECT_EQ(savePaper(oneRow(8), folder()), path("receipt-1.png"));
    EXPECT_EQ(savePaper(oneRow(16), folder()), path("receipt-2.png"));
    EXPECT_EQ(QImage(path("receipt-1.png")).size(), QSize(8, 1));
    EXPECT_EQ(QImage(path("receipt-2.png")).size(), QSize(16, 1));
    EXPECT_EQ(files(), (QStringList{QStringLiteral("receipt-1.png"), QStringLiteral("receipt-2.png")}));
}

TEST_F(PaperFolder, OverwritesNothing)
{
    writeFile(path("receipt-1.png"), "mine");
    EXPECT_TRUE(QFile::link(path("nowhere"), path("receipt-2.png")));
    EXPECT_EQ(savePaper(oneRow(8), folder()), path("receipt-3.png"));
    EXPECT_EQ(readFile(path("receipt-1.png")), "mine");
    EXPECT_FALSE(QFile::exists(path("nowhere")));
}

TEST_F(PaperFolder, KeepsOneBitADot)
{
    const QImage saved(savePaper(oneRow(24), folder()), "PNG");
    EXPECT_EQ(saved.depth(), 1);
    EXPECT_EQ(saved, oneRow(24));
}

TEST_F(PaperFolder, IsCreatedWhenItIsMissing)
{
    EXPECT_EQ(savePaper(oneRow(8), path("a/b c")), path("a/b c/receipt-1.png"));
    EXPECT_TRUE(QFile::exists(path("a/b c/receipt-1.png")));
}

TEST_F(PaperFolder, GivesEveryWriterANameOfItsOwn)
{
    std::vector<std::thread> writers(4);
    for (std::thread& writer : writers) {
        writer = std::thread([this] {
            for (int n = 0; n < 5; ++n)
                savePaper(oneRow(8), folder());
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(files().size(), 20);
    for (int number = 1; number <= 20; ++number)
        EXPECT_EQ(QImage(QDir(folder()).filePath(QStringLiteral("receipt-%1.png").arg(number))), oneRow(8)) << number;
}

TEST_F(PaperFolder, ThatIsAFileIsRefused)
{
    writeFile(path("file"), {});
    EXPECT_NE(failure([&] { savePaper(oneRow(8), path("file")); }), QString());
    EXPECT_EQ(files(), QStringList{QStringLiteral("file")});
}

TEST(VirtualPrinterURI, CarriesTheFolderThere)
{
    EXPECT_EQ(virtualPrinterURI(), QStringLiteral("usb://Harrowmint/Virtual%20Receipt%20Printer?serial=1"));
    EXPECT_EQ(virtualPrinterURI(QStringLiteral("/srv/my papers")),
        QStringLiteral("usb://Harrowmint/Virtual%20Receipt%20Printer?serial=1&papers=%2Fsrv%2Fmy%20papers"));
    EXPECT_EQ(papersFolder(virtualPrinterURI()), QString());
    for (const char16_t* folder : {u"/", u"/srv/my papers", u"/a+b&c=d%20?#", u"/\u00e9t\u00e9/\u0637\u0627\u0628"})
        EXPECT_EQ(papersFolder(virtualPrinterURI(QString::fromUtf16(folder))), QString::fromUtf16(folder));
}

TEST(VirtualPrinterURI, OfAnythingElseIsRefused)
{
    for (const char* address : {"", "usb://Star/TSP143?serial=1", "usb://Harrowmint/Virtual%20Receipt%20Printer",
             "usb://Harrowmint/Virtual%20Receipt%20Printer?serial=2",
             "usb://Harrowmint/Virtual%20Receipt%20Printer?serial=1&papers=",
             "usb://Harrowmint/Virtual%20Receipt%20Printer?serial=1&papers=/srv",
             "usb://Harrowmint/Virtual%20Receipt%20Printer?serial=1&papers=srv",
             "usb://Harrowmint/Virtual%20Receipt%20Printer?serial=1&papers=%2Fsrv&x=1"}) {
        EXPECT_EQ(failure([&] { static_cast<void>(papersFolder(QString::fromLatin1(address))); }),
            QStringLiteral("Not the address of a virtual printer: %1").arg(QString::fromLatin1(address)));
    }
}

} // namespace
} // namespace harrowmint
