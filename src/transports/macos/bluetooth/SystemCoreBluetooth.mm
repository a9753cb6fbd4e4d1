#include "transports/macos/bluetooth/SystemCoreBluetooth.h"

#include "transports/macos/bluetooth/CoreBluetoothValues.h"

#import <CoreBluetooth/CoreBluetooth.h>
#import <Foundation/Foundation.h>

using namespace harrowmint;
using namespace harrowmint::coreBluetooth;

namespace {

NSArray<CBUUID*>* uuidsOf(const std::vector<GattUuid>& numbers)
{
    NSMutableArray<CBUUID*>* uuids = [NSMutableArray array];
    for (const GattUuid number : numbers)
        [uuids addObject:uuidOf(number)];
    return uuids;
}

CBCharacteristicWriteType writeTypeOf(LEWriteType type)
{
    return type == LEWriteType::withResponse ? CBCharacteristicWriteWithResponse : CBCharacteristicWriteWithoutResponse;
}

} // namespace

/// Lives on the dispatch queue. Forwards what the framework reports, and keeps the peripherals that are in use: the
/// framework itself lets go of them.
@interface HarrowmintCentral : NSObject <CBCentralManagerDelegate, CBPeripheralDelegate>
@end

@interface HarrowmintCentral ()
@property (nonatomic) CoreBluetoothEvents* events;
@property (nonatomic) int scan;
@property (nonatomic, strong) CBCentralManager* manager;
@property (nonatomic, strong) NSMutableDictionary<NSUUID*, CBPeripheral*>* peripherals;
- (instancetype)initWithEvents:(CoreBluetoothEvents*)events queue:(dispatch_queue_t)queue;
- (void)close;
- (void)keep:(CBPeripheral*)peripheral;
- (CBPeripheral*)known:(const QUuid&)identifier;
- (CBPeripheral*)retrieved:(const QUuid&)identifier;
- (void)forgetAllBut:(NSSet<NSUUID*>*)kept;
@end

@implementation HarrowmintCentral

- (instancetype)initWithEvents:(CoreBluetoothEvents*)events queue:(dispatch_queue_t)queue
{
    self = [super init];
    if (self) {
        _events = events;
        _peripherals = [NSMutableDictionary dictionary];
        _manager = [[CBCentralManager alloc] initWithDelegate:self
                                                        queue:queue
                                                      options:@{CBCentralManagerOptionShowPowerAlertKey : @NO}];
    }
    return self;
}

- (void)close
{
    self.events = nullptr;
    self.manager.delegate = nil;
    if (self.manager.state == CBManagerStatePoweredOn)
        [self.manager stopScan];
    [self forgetAllBut:[NSSet set]];
    self.manager = nil;
}

- (void)keep:(CBPeripheral*)peripheral
{
    self.peripherals[peripheral.identifier] = peripheral;
}

- (CBPeripheral*)known:(const QUuid&)identifier
{
    return self.peripherals[identifier.toNSUUID()];
}

- (CBPeripheral*)retrieved:(const QUuid&)identifier
{
    CBPeripheral* known = [self known:identifier];
    if (known)
        return known;
    NSArray<CBPeripheral*>* found = [self.manager retrievePeripheralsWithIdentifiers:@[ identifier.toNSUUID() ]];
    if (found.count == 0)
        return nil;
    [self keep:found[0]];
    return found[0];
}

- (void)forgetAllBut:(NSSet<NSUUID*>*)kept
{
    for (NSUUID* identifier in self.peripherals.allKeys) {
        if ([kept containsObject:identifier])
            continue;
        CBPeripheral* peripheral = self.peripherals[identifier];
        peripheral.delegate = nil;
        const bool isLinked = peripheral.state != CBPeripheralStateDisconnected;
        if (isLinked && self.manager.state == CBManagerStatePoweredOn)
            [self.manager cancelPeripheralConnection:peripheral];
        [self.peripherals removeObjectForKey:identifier];
    }
}

- (void)centralManagerDidUpdateState:(CBCentralManager*)central
{
    if (self.events)
        self.events->managerStateChanged(static_cast<int>(central.state), static_cast<int>(CBManager.authorization));
}

- (void)centralManager:(CBCentralManager*)__unused central
    didDiscoverPeripheral:(CBPeripheral*)peripheral
        advertisementData:(NSDictionary<NSString*, id>*)advertisementData
                     RSSI:(NSNumber*)__unused RSSI
{
    if (!self.events)
        return;
    [self keep:peripheral];
    NSString* name = advertisementData[CBAdvertisementDataLocalNameKey];
    self.events->peripheralDiscovered(self.scan, valueOf(peripheral), textOf(name));
}

- (void)centralManager:(CBCentralManager*)__unused central didConnectPeripheral:(CBPeripheral*)peripheral
{
    if (self.events)
        self.events->peripheralConnected(identifierOf(peripheral));
}

- (void)centralManager:(CBCentralManager*)__unused central
    didFailToConnectPeripheral:(CBPeripheral*)peripheral
                         error:(NSError*)__unused error
{
    if (self.events)
        self.events->peripheralFailedToConnect(identifierOf(peripheral));
}

- (void)centralManager:(CBCentralManager*)__unused central
    didDisconnectPeripheral:(CBPeripheral*)peripheral
                      error:(NSError*)__unused error
{
    if (self.events)
        self.events->peripheralDisconnected(identifierOf(peripheral));
}

- (void)peripheral:(CBPeripheral*)peripheral didDiscoverServices:(NSError*)error
{
    if (self.events)
        self.events->servicesFound(identifierOf(peripheral), error != nil, numbersOf(peripheral.services));
}

- (void)peripheral:(CBPeripheral*)peripheral didModifyServices:(NSArray<CBService*>*)invalidatedServices
{
    if (self.events)
        self.events->servicesInvalidated(identifierOf(peripheral), numbersOf(invalidatedServices));
}

- (void)peripheral:(CBPeripheral*)peripheral
    didDiscoverCharacteristicsForService:(CBService*)service
                                   error:(NSError*)error
{
    const auto number = numberOf(service.UUID);
    if (self.events && number)
        self.events->characteristicsFound(identifierOf(peripheral), *number, error != nil, characteristicsOf(service));
}

- (void)peripheral:(CBPeripheral*)peripheral
    didWriteValueForCharacteristic:(CBCharacteristic*)characteristic
                             error:(NSError*)error
{
    CBService* service = characteristic.service;
    const auto number = numberOf(characteristic.UUID);
    const auto serviceNumber = service ? numberOf(service.UUID) : std::nullopt;
    if (self.events && number && serviceNumber)
        self.events->valueWritten(identifierOf(peripheral), LEChannel{*serviceNumber, *number}, error != nil);
}

- (void)peripheralIsReadyToSendWriteWithoutResponse:(CBPeripheral*)peripheral
{
    if (self.events)
        self.events->readyToWrite(identifierOf(peripheral));
}

@end

namespace harrowmint {

namespace {

class SystemCoreBluetooth final : public CoreBluetoothPort {
public:
    explicit SystemCoreBluetooth(CoreBluetoothEvents& events)
        : m_queue(dispatch_queue_create("com.harrowmint.printer.corebluetooth", DISPATCH_QUEUE_SERIAL))
    {
        run([&] { m_central = [[HarrowmintCentral alloc] initWithEvents:&events queue:m_queue]; });
    }

    ~SystemCoreBluetooth() override
    {
        run([&] {
            [m_central close];
            m_central = nil;
        });
    }

    void startScan(int scan) override
    {
        run([&] {
            NSDictionary<NSString*, id>* options = @{CBCentralManagerScanOptionAllowDuplicatesKey : @NO};
            m_central.scan = scan;
            [m_central.manager scanForPeripheralsWithServices:nil options:options];
        });
    }

    void stopScan() override
    {
        run([&] { [m_central.manager stopScan]; });
    }

    std::vector<LEPeripheral> retrieve(const QUuid& identifier) override
    {
        std::vector<LEPeripheral> found;
        run([&] {
            if (CBPeripheral* peripheral = [m_central retrieved:identifier])
                found.push_back(valueOf(peripheral));
        });
        return found;
    }

    std::vector<LEPeripheral> retrieveConnected(const std::vector<GattUuid>& services) override
    {
        std::vector<LEPeripheral> found;
        run([&] {
            for (CBPeripheral* peripheral in
                [m_central.manager retrieveConnectedPeripheralsWithServices:uuidsOf(services)]) {
                [m_central keep:peripheral];
                found.push_back(valueOf(peripheral));
            }
        });
        return found;
    }

    void forgetAllBut(const std::vector<QUuid>& kept) override
    {
        run([&] {
            NSMutableSet<NSUUID*>* identifiers = [NSMutableSet set];
            for (const QUuid& identifier : kept)
                [identifiers addObject:identifier.toNSUUID()];
            [m_central forgetAllBut:identifiers];
        });
    }

    LEPeripheralState peripheralState(const QUuid& peripheral) override
    {
        return ask(peripheral, LEPeripheralState::disconnected, stateOf);
    }

    bool connect(const QUuid& peripheral) override
    {
        bool isKnown = false;
        run([&] {
            CBPeripheral* known = [m_central retrieved:peripheral];
            if (!known)
                return;
            isKnown = true;
            known.delegate = m_central;
            [m_central.manager connectPeripheral:known options:nil];
        });
        return isKnown;
    }

    void cancelConnection(const QUuid& peripheral) override
    {
        ask(peripheral, false, [&](CBPeripheral* known) {
            [m_central.manager cancelPeripheralConnection:known];
            return true;
        });
    }

    bool discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& services) override
    {
        return ask(peripheral, false, [&](CBPeripheral* known) {
            [known discoverServices:uuidsOf(services)];
            return true;
        });
    }

    bool discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel) override
    {
        return ask(peripheral, false, [&](CBPeripheral* known) {
            CBService* service = findService(known, channel.service);
            if (service)
                [known discoverCharacteristics:@[ uuidOf(channel.characteristic) ] forService:service];
            return service != nil;
        });
    }

    bool hasCharacteristic(const QUuid& peripheral, const LEChannel& channel) override
    {
        return ask(peripheral, false, [&](CBPeripheral* known) { return findCharacteristic(known, channel) != nil; });
    }

    int maximumWriteLength(const QUuid& peripheral, LEWriteType type) override
    {
        return ask(peripheral, 0, [&](CBPeripheral* known) {
            return static_cast<int>([known maximumWriteValueLengthForType:writeTypeOf(type)]);
        });
    }

    bool canSendWriteWithoutResponse(const QUuid& peripheral) override
    {
        return ask(peripheral, false, [](CBPeripheral* known) -> bool { return known.canSendWriteWithoutResponse; });
    }

    bool write(const QUuid& peripheral, const LEChannel& channel, const QByteArray& bytes, LEWriteType type) override
    {
        return ask(peripheral, false, [&](CBPeripheral* known) {
            CBCharacteristic* target = findCharacteristic(known, channel);
            if (target)
                [known writeValue:bytes.toNSData() forCharacteristic:target type:writeTypeOf(type)];
            return target != nil;
        });
    }

private:
    /// Runs `task` on the dispatch queue and waits for it. The caller's thread may have no autorelease pool.
    template <typename Task>
    void run(const Task& task)
    {
        const Task* const running = &task;
        dispatch_sync(m_queue, ^{
            @autoreleasepool {
                (*running)();
            }
        });
    }

    /// What `question` says of a peripheral; `otherwise` of one that is not known.
    template <typename Answer, typename Question>
    Answer ask(const QUuid& peripheral, Answer otherwise, const Question& question)
    {
        Answer answer = otherwise;
        run([&] {
            if (CBPeripheral* known = [m_central known:peripheral])
                answer = question(known);
        });
        return answer;
    }

    dispatch_queue_t m_queue;
    HarrowmintCentral* m_central = nil;
};

} // namespace

std::unique_ptr<CoreBluetoothPort> makeSystemCoreBluetooth(CoreBluetoothEvents& events)
{
    return std::make_unique<SystemCoreBluetooth>(events);
}

} // namespace harrowmint
