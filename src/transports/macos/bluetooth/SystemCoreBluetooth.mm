#include "transports/macos/bluetooth/SystemCoreBluetooth.h"

#import <CoreBluetooth/CoreBluetooth.h>
#import <Foundation/Foundation.h>

using namespace harrowmint;

static_assert(int(CBManagerStateUnknown) == coreBluetooth::stateUnknown);
static_assert(int(CBManagerStateResetting) == coreBluetooth::stateResetting);
static_assert(int(CBManagerStateUnsupported) == coreBluetooth::stateUnsupported);
static_assert(int(CBManagerStateUnauthorized) == coreBluetooth::stateUnauthorized);
static_assert(int(CBManagerStatePoweredOff) == coreBluetooth::statePoweredOff);
static_assert(int(CBManagerStatePoweredOn) == coreBluetooth::statePoweredOn);
static_assert(int(CBManagerAuthorizationNotDetermined) == coreBluetooth::authorizationNotDetermined);
static_assert(int(CBManagerAuthorizationRestricted) == coreBluetooth::authorizationRestricted);
static_assert(int(CBManagerAuthorizationDenied) == coreBluetooth::authorizationDenied);
static_assert(int(CBManagerAuthorizationAllowedAlways) == coreBluetooth::authorizationAllowed);

namespace {

CBUUID* uuidOf(GattUuid number)
{
    return [CBUUID UUIDWithString:[NSString stringWithFormat:@"%04X", static_cast<unsigned>(number)]];
}

NSArray<CBUUID*>* uuidsOf(const std::vector<GattUuid>& numbers)
{
    NSMutableArray<CBUUID*>* uuids = [NSMutableArray array];
    for (const GattUuid number : numbers)
        [uuids addObject:uuidOf(number)];
    return uuids;
}

std::optional<GattUuid> numberOf(CBUUID* uuid)
{
    return coreBluetooth::assignedNumber(QByteArray::fromNSData(uuid.data));
}

std::vector<GattUuid> numbersOf(NSArray<CBService*>* services)
{
    std::vector<GattUuid> numbers;
    for (CBService* service in services) {
        if (const auto number = numberOf(service.UUID))
            numbers.push_back(*number);
    }
    return numbers;
}

std::vector<LECharacteristic> valuesOf(NSArray<CBCharacteristic*>* characteristics)
{
    std::vector<LECharacteristic> values;
    for (CBCharacteristic* characteristic in characteristics) {
        const auto number = numberOf(characteristic.UUID);
        if (!number)
            continue;
        values.push_back({*number, (characteristic.properties & CBCharacteristicPropertyWrite) != 0,
            (characteristic.properties & CBCharacteristicPropertyWriteWithoutResponse) != 0});
    }
    return values;
}

QString textOf(NSString* text)
{
    return text == nil ? QString() : QString::fromNSString(text);
}

LEPeripheral valueOf(CBPeripheral* peripheral)
{
    return {QUuid::fromNSUUID(peripheral.identifier), textOf(peripheral.name)};
}

LEPeripheralState stateOf(CBPeripheral* peripheral)
{
    switch (peripheral.state) {
    case CBPeripheralStateConnecting:
        return LEPeripheralState::connecting;
    case CBPeripheralStateConnected:
        return LEPeripheralState::connected;
    case CBPeripheralStateDisconnecting:
        return LEPeripheralState::disconnecting;
    case CBPeripheralStateDisconnected:
        break;
    }
    return LEPeripheralState::disconnected;
}

CBCharacteristicWriteType writeTypeOf(LEWriteType type)
{
    return type == LEWriteType::withResponse ? CBCharacteristicWriteWithResponse : CBCharacteristicWriteWithoutResponse;
}

CBService* findService(CBPeripheral* peripheral, GattUuid number)
{
    for (CBService* service in peripheral.services) {
        if ([service.UUID isEqual:uuidOf(number)])
            return service;
    }
    return nil;
}

CBCharacteristic* findCharacteristic(CBPeripheral* peripheral, const LEChannel& channel)
{
    for (CBCharacteristic* characteristic in findService(peripheral, channel.service).characteristics) {
        if ([characteristic.UUID isEqual:uuidOf(channel.characteristic)])
            return characteristic;
    }
    return nil;
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
        self.events->peripheralConnected(QUuid::fromNSUUID(peripheral.identifier));
}

- (void)centralManager:(CBCentralManager*)__unused central
    didFailToConnectPeripheral:(CBPeripheral*)peripheral
                         error:(NSError*)__unused error
{
    if (self.events)
        self.events->peripheralFailedToConnect(QUuid::fromNSUUID(peripheral.identifier));
}

- (void)centralManager:(CBCentralManager*)__unused central
    didDisconnectPeripheral:(CBPeripheral*)peripheral
                      error:(NSError*)__unused error
{
    if (self.events)
        self.events->peripheralDisconnected(QUuid::fromNSUUID(peripheral.identifier));
}

- (void)peripheral:(CBPeripheral*)peripheral didDiscoverServices:(NSError*)error
{
    if (self.events)
        self.events->servicesFound(
            QUuid::fromNSUUID(peripheral.identifier), error != nil, numbersOf(peripheral.services));
}

- (void)peripheral:(CBPeripheral*)peripheral didModifyServices:(NSArray<CBService*>*)invalidatedServices
{
    if (self.events)
        self.events->servicesInvalidated(QUuid::fromNSUUID(peripheral.identifier), numbersOf(invalidatedServices));
}

- (void)peripheral:(CBPeripheral*)peripheral
    didDiscoverCharacteristicsForService:(CBService*)service
                                   error:(NSError*)error
{
    const auto number = numberOf(service.UUID);
    if (self.events && number)
        self.events->characteristicsFound(
            QUuid::fromNSUUID(peripheral.identifier), *number, error != nil, valuesOf(service.characteristics));
}

- (void)peripheral:(CBPeripheral*)peripheral
    didWriteValueForCharacteristic:(CBCharacteristic*)characteristic
                             error:(NSError*)error
{
    CBService* service = characteristic.service;
    const auto number = numberOf(characteristic.UUID);
    const auto serviceNumber = service ? numberOf(service.UUID) : std::nullopt;
    if (self.events && number && serviceNumber)
        self.events->valueWritten(
            QUuid::fromNSUUID(peripheral.identifier), LEChannel{*serviceNumber, *number}, error != nil);
}

- (void)peripheralIsReadyToSendWriteWithoutResponse:(CBPeripheral*)peripheral
{
    if (self.events)
        self.events->readyToWrite(QUuid::fromNSUUID(peripheral.identifier));
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
            m_central.scan = scan;
            [m_central.manager scanForPeripheralsWithServices:nil
                                                      options:@{
                                                          CBCentralManagerScanOptionAllowDuplicatesKey : @NO
                                                      }];
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
        auto state = LEPeripheralState::disconnected;
        withKnown(peripheral, [&](CBPeripheral* known) { state = stateOf(known); });
        return state;
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
        withKnown(peripheral, [&](CBPeripheral* known) { [m_central.manager cancelPeripheralConnection:known]; });
    }

    bool discoverServices(const QUuid& peripheral, const std::vector<GattUuid>& services) override
    {
        return withKnown(peripheral, [&](CBPeripheral* known) { [known discoverServices:uuidsOf(services)]; });
    }

    bool discoverCharacteristic(const QUuid& peripheral, const LEChannel& channel) override
    {
        bool hasService = false;
        withKnown(peripheral, [&](CBPeripheral* known) {
            CBService* service = findService(known, channel.service);
            if (!service)
                return;
            hasService = true;
            [known discoverCharacteristics:@[ uuidOf(channel.characteristic) ] forService:service];
        });
        return hasService;
    }

    bool hasCharacteristic(const QUuid& peripheral, const LEChannel& channel) override
    {
        bool found = false;
        withKnown(peripheral, [&](CBPeripheral* known) { found = findCharacteristic(known, channel) != nil; });
        return found;
    }

    int maximumWriteLength(const QUuid& peripheral, LEWriteType type) override
    {
        int length = 0;
        withKnown(peripheral, [&](CBPeripheral* known) {
            length = static_cast<int>([known maximumWriteValueLengthForType:writeTypeOf(type)]);
        });
        return length;
    }

    bool canSendWriteWithoutResponse(const QUuid& peripheral) override
    {
        bool can = false;
        withKnown(peripheral, [&](CBPeripheral* known) { can = known.canSendWriteWithoutResponse; });
        return can;
    }

    bool write(const QUuid& peripheral, const LEChannel& channel, const QByteArray& bytes, LEWriteType type) override
    {
        bool found = false;
        withKnown(peripheral, [&](CBPeripheral* known) {
            CBCharacteristic* characteristic = findCharacteristic(known, channel);
            if (!characteristic)
                return;
            found = true;
            [known writeValue:bytes.toNSData() forCharacteristic:characteristic type:writeTypeOf(type)];
        });
        return found;
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

    template <typename Task>
    bool withKnown(const QUuid& peripheral, const Task& task)
    {
        bool isKnown = false;
        run([&] {
            if (CBPeripheral* known = [m_central known:peripheral]) {
                isKnown = true;
                task(known);
            }
        });
        return isKnown;
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
