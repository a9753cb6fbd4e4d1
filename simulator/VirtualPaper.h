#pragma once

#include <QByteArray>
#include <QString>

namespace harrowmint {

/// What a virtual Bluetooth printer does with what it is sent: the bytes of one job become one picture in a folder.
/// Lives on the queue of whoever sends; writes the file there.
class VirtualPaper {
public:
    /// The pictures are `folder`/`kind`-1.png, `kind`-2.png, …
    VirtualPaper(QString folder, QString kind);

    void take(const QByteArray& bytes) { m_job += bytes; }
    /// The sender has let the printer go: what it has sent is on paper now. A stream that paper cannot show, a broken
    /// off one for instance, leaves no picture but its reason on the standard error stream. Does nothing without a
    /// byte.
    void endJob();

private:
    QString m_folder;
    QString m_kind;
    QByteArray m_job;
};

} // namespace harrowmint
