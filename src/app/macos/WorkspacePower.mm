#include "app/SystemPower.h"
#include "base/QueuePost.h"

#import <AppKit/AppKit.h>

#include <utility>

namespace harrowmint {

namespace {

/// One activity of the process; ends with this object, on whatever thread.
class UserActivity final : public ProcessActivity::Token {
public:
    explicit UserActivity(const QString& reason)
    {
        @autoreleasepool {
            m_activity = [NSProcessInfo.processInfo beginActivityWithOptions:NSActivityUserInitiated
                                                                      reason:reason.toNSString()];
        }
    }
    ~UserActivity() override
    {
        @autoreleasepool {
            [NSProcessInfo.processInfo endActivity:m_activity];
            m_activity = nil;
        }
    }

private:
    id<NSObject> m_activity;
};

/// SystemPower over the workspace's notification of a wake, and the process's activities.
class WorkspacePower final : public SystemPower {
public:
    WorkspacePower(SerialQueue& main, std::function<void()> woke)
        : m_woke(std::move(woke))
        , m_post(main)
        , m_self(std::make_shared<WorkspacePower*>(this))
    {
        const std::weak_ptr<WorkspacePower*> weak = m_self;
        // Wakes are told by the workspace's own centre only.
        m_observer = [NSWorkspace.sharedWorkspace.notificationCenter
            addObserverForName:NSWorkspaceDidWakeNotification
                        object:nil
                         queue:NSOperationQueue.mainQueue
                    usingBlock:^(NSNotification* __unused notification) {
                        if (const auto self = weak.lock())
                            (*self)->m_post((*self)->m_woke);
                    }];
    }
    ~WorkspacePower() override { [NSWorkspace.sharedWorkspace.notificationCenter removeObserver:m_observer]; }

    [[nodiscard]] std::unique_ptr<Token> begin(const QString& reason) override
    {
        return std::make_unique<UserActivity>(reason);
    }

private:
    std::function<void()> m_woke;
    QueuePost m_post;
    std::shared_ptr<WorkspacePower*> m_self;
    id<NSObject> m_observer;
};

} // namespace

std::unique_ptr<SystemPower> SystemPower::make(SerialQueue& main, std::function<void()> woke)
{
    return std::make_unique<WorkspacePower>(main, std::move(woke));
}

} // namespace harrowmint
