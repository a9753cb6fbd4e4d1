#include "transports/linux/USBPlatform.h"

#include "transports/linux/usb-backend/Messages.h"
#include "transports/linux/usb-backend/PrinterSearch.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <unistd.h>

namespace harrowmint::platform {

namespace {

const auto backendName = QStringLiteral(HARROWMINT_USB_BACKEND_NAME);
/// From the folder of installed programs to that of the backend program.
const auto installedFolder = QStringLiteral(HARROWMINT_USB_BACKEND_FOLDER);

bool mayOpenNode(const std::string& node)
{
    // A node that has just gone is no matter of permission.
    return ::access(node.c_str(), R_OK | W_OK) == 0 || errno != EACCES;
}

} // namespace

std::vector<QString> inaccessibleUSBPrinters(
    const std::string& devicesFolder, const std::function<bool(const std::string& node)>& mayOpen)
{
    std::vector<QString> result;
    for (const usb::PrinterLocation& printer : usb::connectedPrinters(devicesFolder)) {
        if (!mayOpen(printer.node()))
            result.push_back(QString::fromStdString(usb::messages::noPermissionText(printer.node())));
    }
    return result;
}

std::vector<QString> inaccessibleUSBPrinters()
{
    return inaccessibleUSBPrinters(usb::usbDevicesFolder, mayOpenNode);
}

QString ownUSBBackend(const QString& agentFolder)
{
    const QDir folder(agentFolder);
    QString beside = folder.filePath(backendName);
    if (QFileInfo(beside).isExecutable())
        return beside;
    return QDir::cleanPath(folder.filePath(installedFolder + QLatin1Char('/') + backendName));
}

QString ownUSBBackend()
{
    // Not the application's folder: that needs an application, and this is asked before there is one.
    return ownUSBBackend(QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).path());
}

} // namespace harrowmint::platform
