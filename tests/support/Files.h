#pragma once

#include "support/Samples.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace harrowmint::test {

/// Makes a file of these bytes, in the place of one that is there.
inline void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size()) << path.toStdString();
}

/// The permissions of the file or directory at `path`, which must be there; a link's are its own.
[[nodiscard]] inline unsigned modeOf(const QString& path)
{
    struct stat status { };
    EXPECT_EQ(::lstat(QFile::encodeName(path).constData(), &status), 0) << path.toStdString();
    return status.st_mode & 07777U;
}

} // namespace harrowmint::test
