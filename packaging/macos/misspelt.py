"""Misspellings that packaging/macos/typecheck --prove puts into copies of the Objective-C++ files: of a selector that is
sent and, where there is one, of an optional delegate method or a handler that the system is to call."""

MISSPELT = {
    "src/transports/macos/bluetooth/CoreBluetoothValues.mm": [
        ("UUIDWithString:", "UUIDFromString:"),
    ],
    "src/transports/macos/bluetooth/SystemCoreBluetooth.mm": [
        ("scanForPeripheralsWithServices:", "scanForPeripheralsWithService:"),
        ("didDiscoverServices:", "didDiscoverService:"),
        ("didDisconnectPeripheral:", "didDisconnectPeriferal:"),
        ("- (void)peripheralIsReadyToSendWriteWithoutResponse:", "- (void)peripheralIsReadyToSendWithoutResponse:"),
    ],
    "src/transports/macos/bluetooth/SystemIOBluetooth.mm": [
        ("openRFCOMMChannelAsync:&opening", "openRFCOMMChannel:&opening"),
        ("rfcommChannelClosed:", "rfcommChannelDidClose:"),
        ("- (void)sdpQueryComplete:(IOBluetoothDevice*)device status:", "- (void)sdpQueryComplete:(IOBluetoothDevice*)device error:"),
    ],
    "src/app/macos/DockForeground.mm": [
        ("activateIgnoringOtherApps:", "activateIgnoringOtherApplications:"),
        ("@selector(handleReopen:withReplyEvent:)", "@selector(handleReopen:withReply:)"),
    ],
    "src/app/macos/WorkspacePower.mm": [
        ("beginActivityWithOptions:", "beginActivityWithOption:"),
        ("addObserverForName:", "addObserverNamed:"),
    ],
}
