#include "app/Foreground.h"
#include "base/QueuePost.h"

#import <AppKit/AppKit.h>

#include <utility>

using namespace harrowmint;

/// Takes the reopen event (a click on the Dock icon, a start of the running program). Main thread.
@interface HarrowmintReopenHandler : NSObject
@end

@interface HarrowmintReopenHandler ()
@property (nonatomic) const std::function<void()>* reopened;
- (instancetype)initWithReopened:(const std::function<void()>*)reopened;
- (void)install;
- (void)close;
- (void)handleReopen:(NSAppleEventDescriptor*)event withReplyEvent:(NSAppleEventDescriptor*)reply;
@end

@implementation HarrowmintReopenHandler

- (instancetype)initWithReopened:(const std::function<void()>*)reopened
{
    self = [super init];
    if (self)
        _reopened = reopened;
    return self;
}

- (void)install
{
    [NSAppleEventManager.sharedAppleEventManager setEventHandler:self
                                                     andSelector:@selector(handleReopen:withReplyEvent:)
                                                   forEventClass:kCoreEventClass
                                                      andEventID:kAEReopenApplication];
}

- (void)close
{
    self.reopened = nullptr;
    [NSAppleEventManager.sharedAppleEventManager removeEventHandlerForEventClass:kCoreEventClass
                                                                      andEventID:kAEReopenApplication];
}

- (void)handleReopen:(NSAppleEventDescriptor*)__unused event withReplyEvent:(NSAppleEventDescriptor*)__unused reply
{
    if (self.reopened)
        (*self.reopened)();
}

@end

namespace harrowmint {

namespace {

class DockForeground final : public Foreground {
public:
    DockForeground(SerialQueue& main, std::function<void()> reopened)
        : m_reopened(std::move(reopened))
        , m_post(main)
        , m_told([this] { m_post(m_reopened); })
        , m_handler([[HarrowmintReopenHandler alloc] initWithReopened:&m_told])
    {
        // The application sets a handler of its own when its event loop begins, and the last one counts.
        m_post([this] { [m_handler install]; });
    }
    ~DockForeground() override { [m_handler close]; }

    void activate() override
    {
        @autoreleasepool {
            [NSApp activateIgnoringOtherApps:YES];
        }
    }

private:
    std::function<void()> m_reopened;
    QueuePost m_post;
    std::function<void()> m_told;
    HarrowmintReopenHandler* m_handler;
};

} // namespace

std::unique_ptr<Foreground> Foreground::make(SerialQueue& main, const std::function<void()>& reopened)
{
    return std::make_unique<DockForeground>(main, reopened);
}

} // namespace harrowmint
