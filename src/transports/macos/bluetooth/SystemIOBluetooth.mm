#include "transports/macos/bluetooth/SystemIOBluetooth.h"

#import <Foundation/Foundation.h>
#import <IOBluetooth/IOBluetooth.h>

using namespace harrowmint;

namespace {

constexpr BluetoothSDPUUID16 serialPortService = 0x1101;

QString textOf(NSString* text)
{
    return text == nil ? QString() : QString::fromNSString(text);
}

} // namespace

/// Target of a device's query and delegate of its channel; forwards what concerns these.
@interface HarrowmintSerialDelegate : NSObject <IOBluetoothDeviceAsyncCallbacks, IOBluetoothRFCOMMChannelDelegate>
@end

@interface HarrowmintSerialDelegate ()
@property (nonatomic) IOBluetoothLinkEvents* events;
@property (nonatomic, strong) IOBluetoothDevice* device;
- (instancetype)initWithEvents:(IOBluetoothLinkEvents*)events;
@end

@implementation HarrowmintSerialDelegate

- (instancetype)initWithEvents:(IOBluetoothLinkEvents*)events
{
    self = [super init];
    if (self)
        _events = events;
    return self;
}

- (void)sdpQueryComplete:(IOBluetoothDevice*)device status:(IOReturn)status
{
    if (self.events && [device isEqual:self.device])
        self.events->queryAnswered(status == kIOReturnSuccess);
}

// The protocol asks for these two; nothing here begins what they answer.
- (void)remoteNameRequestComplete:(IOBluetoothDevice*)__unused device status:(IOReturn)__unused status
{
}

- (void)connectionComplete:(IOBluetoothDevice*)__unused device status:(IOReturn)__unused status
{
}

- (void)rfcommChannelOpenComplete:(IOBluetoothRFCOMMChannel*)__unused rfcommChannel status:(IOReturn)error
{
    if (self.events)
        self.events->channelOpened(error == kIOReturnSuccess);
}

- (void)rfcommChannelWriteComplete:(IOBluetoothRFCOMMChannel*)__unused rfcommChannel
                            refcon:(void*)__unused refcon
                            status:(IOReturn)error
{
    if (self.events)
        self.events->packetWritten(error == kIOReturnSuccess);
}

- (void)rfcommChannelClosed:(IOBluetoothRFCOMMChannel*)__unused rfcommChannel
{
    if (self.events)
        self.events->channelClosed();
}

@end

namespace harrowmint {

namespace {

class SystemIOBluetoothLink final : public IOBluetoothLinkPort {
public:
    explicit SystemIOBluetoothLink(IOBluetoothLinkEvents& events)
        : m_delegate([[HarrowmintSerialDelegate alloc] initWithEvents:&events])
    {
    }

    ~SystemIOBluetoothLink() override
    {
        close();
        m_delegate.events = nullptr;
    }

    bool findDevice(const QString& address) override
    {
        @autoreleasepool {
            IOBluetoothDevice* device = [IOBluetoothDevice deviceWithAddressString:address.toNSString()];
            m_delegate.device = device;
            return device != nil && [device isPaired];
        }
    }

    bool beginQuery() override
    {
        @autoreleasepool {
            return [m_delegate.device performSDPQuery:m_delegate] == kIOReturnSuccess;
        }
    }

    std::optional<int> serialPortChannel() override
    {
        @autoreleasepool {
            IOBluetoothSDPServiceRecord* record =
                [m_delegate.device getServiceRecordForUUID:[IOBluetoothSDPUUID uuid16:serialPortService]];
            BluetoothRFCOMMChannelID channel = 0;
            if (record == nil || [record getRFCOMMChannelID:&channel] != kIOReturnSuccess || channel == 0)
                return std::nullopt;
            return channel;
        }
    }

    bool beginOpening(int channel) override
    {
        @autoreleasepool {
            IOBluetoothRFCOMMChannel* __autoreleasing opening = nil;
            const IOReturn status =
                [m_delegate.device openRFCOMMChannelAsync:&opening
                                            withChannelID:static_cast<BluetoothRFCOMMChannelID>(channel)
                                                 delegate:m_delegate];
            if (status != kIOReturnSuccess)
                return false;
            // It comes with a reference that is ours, which its declaration does not say.
            m_channel = (__bridge_transfer IOBluetoothRFCOMMChannel*)(__bridge void*)opening;
            return true;
        }
    }

    int mtu() override { return [m_channel getMTU]; }

    bool beginWriting(char* bytes, int count) override
    {
        @autoreleasepool {
            return m_channel != nil &&
                [m_channel writeAsync:bytes length:static_cast<UInt16>(count) refcon:nullptr] == kIOReturnSuccess;
        }
    }

    void close() override
    {
        @autoreleasepool {
            [m_channel setDelegate:nil];
            [m_channel closeChannel];
            m_channel = nil;
        }
    }

private:
    HarrowmintSerialDelegate* m_delegate;
    IOBluetoothRFCOMMChannel* m_channel = nil;
};

class SystemIOBluetooth final : public IOBluetoothPort {
public:
    std::vector<PairedDevice> pairedDevices() override
    {
        std::vector<PairedDevice> devices;
        @autoreleasepool {
            // Nil when nothing is paired.
            for (id entry in [IOBluetoothDevice pairedDevices]) {
                if (![entry isKindOfClass:[IOBluetoothDevice class]])
                    continue;
                IOBluetoothDevice* device = entry;
                devices.push_back({textOf([device addressString]), textOf([device name])});
            }
        }
        return devices;
    }

    std::unique_ptr<IOBluetoothLinkPort> makeLink(IOBluetoothLinkEvents& events) override
    {
        return std::make_unique<SystemIOBluetoothLink>(events);
    }
};

} // namespace

std::unique_ptr<IOBluetoothPort> makeSystemIOBluetooth()
{
    Q_ASSERT(NSThread.isMainThread);
    return std::make_unique<SystemIOBluetooth>();
}

} // namespace harrowmint
