// What only the state machine itself can be asked: jobs by number, and streams that no document makes.
#include "LEExpectations.h"
#include "transports/ReceiptByteCursor.h"

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

class LELink : public testing::TestWithParam<Kind> {
protected:
    LELink() { world.addPrinter(1).services[0xFF00] = {{.uuid = 0xFF02, .write = true, .writeWithoutResponse = true}}; }

    void start(std::uint64_t number, std::shared_ptr<ByteCursor> stream)
    {
        link.start({number, FakeLE::identifier(), std::move(stream),
            TransferCompletion([this](const TransferOutcome& outcome) { message = outcome->message(); })});
        clock->runDue();
    }

    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue queue{clock};
    FakeLE world{queue};
    LEPrinterLink link{
        queue, world.factory(), GetParam() == Kind::receipts ? ReceiptBLEBackend::kind() : LabelBackend::kind()};
    const Expected expected = expectedOf(GetParam());
    QString message;
};

INSTANTIATE_TEST_SUITE_P(
    Both, LELink, testing::Values(Kind::receipts, Kind::labels), [](const auto& each) { return nameOf(each.param); });

TEST_P(LELink, EndsNoOtherJobThanTheOneWhoseCallerGaveUp)
{
    world.answerLate(LERequest::connect, {});
    start(7, std::make_shared<ByteCursorOf<ReceiptByteCursor>>(ReceiptByteCursor(jobBytes(9))));
    link.timeOut(6);
    EXPECT_EQ(message, QString());
    link.timeOut(7);
    EXPECT_EQ(message, expected.capital() + QStringLiteral(" response timed out.") + expected.nothingSent);
    message.clear();
    link.timeOut(7);
    EXPECT_EQ(message, QString());
}

/// A stream that never ends and, after its first bytes, hands out `rest`.
class DrySpell final : public ByteCursor {
public:
    DrySpell(QByteArray first, std::optional<QByteArray> rest)
        : m_first(std::move(first))
        , m_rest(std::move(rest))
    {
    }
    [[nodiscard]] std::optional<QByteArray> next(int) const override
    {
        return m_offset < m_first.size() ? m_first : m_rest;
    }
    void advance(int count) override { m_offset += count; }
    [[nodiscard]] bool finished() const override { return false; }
    [[nodiscard]] qsizetype offset() const override { return m_offset; }
    [[nodiscard]] int lastCount() const override { return static_cast<int>(m_offset); }

private:
    QByteArray m_first;
    std::optional<QByteArray> m_rest;
    qsizetype m_offset = 0;
};

TEST_P(LELink, RefusesAStreamThatHandsOutNothing)
{
    start(1, std::make_shared<DrySpell>(QByteArray(), std::nullopt));
    EXPECT_EQ(message, QStringLiteral("Invalid ") + expected.noun + QStringLiteral(" stream.") + expected.nothingSent);
    EXPECT_TRUE(world.printer().writes.empty());
}

TEST_P(LELink, RefusesAStreamThatDriesUpOnTheWay)
{
    start(1, std::make_shared<DrySpell>(jobBytes(9), QByteArray()));
    clock->advance(std::chrono::seconds(1));
    EXPECT_EQ(message, QStringLiteral("Invalid ") + expected.noun + QStringLiteral(" stream.") + paperWarning);
}

} // namespace
