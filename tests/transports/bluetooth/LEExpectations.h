#pragma once

#include "LERig.h"

#include <gtest/gtest.h>

// What the tests of both LE printers expect: times and sentences, written down once more.

namespace harrowmint::test {

using Kind = LERig::Kind;

struct Expected {
    std::chrono::seconds watchdog;
    std::chrono::milliseconds settle;
    QString noun; ///< "receipt" or "label"
    QString nothingSent;

    [[nodiscard]] QString capital() const { return noun.at(0).toUpper() + noun.mid(1); }
};

inline const QString paperWarning = QStringLiteral(" Check the paper before retrying; part may have printed.");

inline Expected expectedOf(Kind kind)
{
    using namespace std::chrono_literals;
    if (kind == Kind::receipts)
        return {50s, 500ms, QStringLiteral("receipt"), QStringLiteral(" No receipt data was sent.")};
    return {30s, 4000ms, QStringLiteral("label"), QStringLiteral(" No label data was sent.")};
}

inline std::string nameOf(Kind kind)
{
    return kind == Kind::receipts ? "Receipts" : "Labels";
}

inline std::string nameOf(LERequest request)
{
    static constexpr const char* names[] = {
        "Report", "Scan", "Connect", "Cancel", "Services", "Characteristic", "Open", "Write"};
    return names[static_cast<int>(request)];
}

/// A fixture that runs each test for receipts and for labels.
class BothKinds : public testing::TestWithParam<Kind> {
protected:
    LERig rig{GetParam()};
    const Expected expected = expectedOf(GetParam());
};

} // namespace harrowmint::test
