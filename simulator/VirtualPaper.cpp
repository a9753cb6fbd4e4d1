#include "simulator/VirtualPaper.h"

#include "base/PrinterError.h"
#include "simulator/Paper.h"
#include "simulator/PaperFolder.h"

#include <cstdio>
#include <utility>

namespace harrowmint {

VirtualPaper::VirtualPaper(QString folder, QString kind)
    : m_folder(std::move(folder))
    , m_kind(std::move(kind))
{
}

void VirtualPaper::endJob()
{
    const QByteArray job = std::exchange(m_job, {});
    if (job.isEmpty())
        return;
    try {
        savePaper(paper(job), m_folder, m_kind);
    } catch (const PrinterError& error) {
        std::fprintf(stderr, "virtual printer: nothing came out. %s\n", error.message().toUtf8().constData());
    }
}

} // namespace harrowmint
