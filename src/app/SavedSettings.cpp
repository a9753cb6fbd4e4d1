#include "app/SavedSettings.h"

#include <exception>

namespace harrowmint {

SavedSettings::SavedSettings(QString directory, FileSystem& files)
    : m_directory(std::move(directory))
    , m_files(files)
{
}

void SavedSettings::load()
{
    try {
        m_value = PrinterSettings::load(m_directory, m_files);
        m_areReadable = true;
    } catch (const std::exception&) {
        m_areReadable = false;
    }
}

void SavedSettings::save(const PrinterSettings& settings)
{
    const PrinterSettings validated = settings.validated();
    validated.save(m_directory, m_files);
    m_value = validated;
    m_areReadable = true;
    if (changed)
        changed();
}

bool SavedSettings::fileExists() const
{
    try {
        return m_files.exists(m_directory + u'/' + PrinterSettings::fileName());
    } catch (const std::exception&) {
        return true;
    }
}

} // namespace harrowmint
