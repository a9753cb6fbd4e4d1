#include "support/LeakSuppressions.h"

#include <QApplication>
#include <QEvent>
#include <gtest/gtest.h>

namespace {

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define HARROWMINT_THREAD_SANITIZER
#endif
#endif

#ifdef HARROWMINT_THREAD_SANITIZER
/// Keeps windows from being painted: the toolkit does that on threads of its own, whose hand-over the thread sanitizer
/// cannot see.
class NoPainting final : public QObject {
public:
    bool eventFilter(QObject*, QEvent* event) override
    {
        return event->type() == QEvent::Expose || event->type() == QEvent::Paint
            || event->type() == QEvent::UpdateRequest;
    }
};
#endif

} // namespace

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
#ifdef HARROWMINT_THREAD_SANITIZER
    NoPainting noPainting;
    application.installEventFilter(&noPainting);
#endif
    return RUN_ALL_TESTS();
}
