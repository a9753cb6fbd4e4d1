#pragma once

#include "base/FileSystem.h"
#include "settings/PrinterSettings.h"

#include <QString>
#include <functional>

namespace harrowmint {

/// The settings as they stand in the file: the one current copy of the agent. Main queue; owned by the delegate.
class SavedSettings {
public:
    /// The settings of `directory`; the defaults until `load`.
    SavedSettings(QString directory, FileSystem& files);
    SavedSettings(const SavedSettings&) = delete;
    SavedSettings& operator=(const SavedSettings&) = delete;

    /// Called after each `save`.
    std::function<void()> changed;

    /// Reads the file. Never throws: the defaults stay when it cannot be read, and `areReadable` tells.
    void load();
    /// Writes `settings`; their validated copy is then the current one. Throws what PrinterSettings::save throws, and
    /// then changes nothing here.
    void save(const PrinterSettings& settings);

    [[nodiscard]] const PrinterSettings& value() const { return m_value; }
    /// False from a `load` that failed to the next `save`.
    [[nodiscard]] bool areReadable() const { return m_areReadable; }
    /// Whether there is a settings file; one that cannot be looked for counts.
    [[nodiscard]] bool fileExists() const;

private:
    const QString m_directory;
    FileSystem& m_files;
    PrinterSettings m_value;
    bool m_areReadable = true;
};

} // namespace harrowmint
