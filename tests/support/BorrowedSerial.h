#pragma once

#include "transports/bluetooth/SerialBluetooth.h"

#include <utility>

namespace harrowmint::test {

/// A factory that lends `devices`, which a test keeps and which outlive whatever is made.
inline SerialBluetoothFactory lend(SerialBluetooth& devices)
{
    class Borrowed final : public SerialBluetooth {
    public:
        explicit Borrowed(SerialBluetooth& lender)
            : m_lender(lender)
        {
        }
        void pairedDevices(std::function<void(const Devices&)> completion) override
        {
            m_lender.pairedDevices(std::move(completion));
        }
        [[nodiscard]] std::unique_ptr<SerialLink> makeLink(SerialLinkEvents& events) override
        {
            return m_lender.makeLink(events);
        }

    private:
        SerialBluetooth& m_lender;
    };
    return [&devices] { return std::make_unique<Borrowed>(devices); };
}

} // namespace harrowmint::test
