#pragma once

#include <QTemporaryDir>

namespace harrowmint::test {

/// A directory that is there for one test.
class TemporaryDirectory {
public:
    [[nodiscard]] QString path() const { return m_directory.path(); }
    [[nodiscard]] QString filePath(const QString& name) const { return m_directory.filePath(name); }

private:
    QTemporaryDir m_directory;
};

} // namespace harrowmint::test
