#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <gtest/gtest.h>

namespace harrowmint::test {

/// Runs the calling thread's events until `condition` holds. Only a hang reaches the limit.
template <class Condition>
void runEventsUntil(Condition condition)
{
    const QDeadlineTimer limit(std::chrono::seconds(60));
    while (!condition()) {
        ASSERT_FALSE(limit.hasExpired()) << "nothing happened for a minute";
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    }
}

} // namespace harrowmint::test
