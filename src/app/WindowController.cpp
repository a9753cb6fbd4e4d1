#include "app/WindowController.h"

#include "app/window/AlertSheet.h"
#include "base/PrinterError.h"

#include <utility>

namespace harrowmint {

namespace {

const auto savedText = QStringLiteral("Saved. Printers are ready for your approved stores.");
const auto savedPausedText = QStringLiteral("Saved. Website printing is paused.");

} // namespace

WindowController::WindowController(
    SerialQueue& main, SavedSettings& settings, PrinterDiscovery discovery, WindowServices services)
    : m_main(main)
    , m_settings(settings)
    , m_services(std::move(services))
    , m_window({
          .refreshDevices = [this] { m_refresh.refreshDevices(); },
          .refreshLabels = [this] { m_refresh.refreshLabels(); },
          .disconnectStores = [this] { m_services.disconnectStores(); },
          .save = [this] { saveSettings(); },
          .printTest = [this] { printTest(); },
          .quit = [this] { m_services.quit(); },
      })
    , m_refresh(main, std::move(discovery), settings, m_services.busy, static_cast<PrinterListsView&>(*this))
    , m_self(std::make_shared<WindowController*>(this))
{
    m_window.showSettings(settings.value());
}

WindowController::~WindowController() = default;

void WindowController::bringToFront()
{
    if (m_services.activate)
        m_services.activate();
    m_window.bringToFront();
}

std::unique_ptr<OpenSheet> WindowController::showSheet(const SheetText& text, Completion completion)
{
    return AlertSheet::open(&m_window, m_main, text, std::move(completion));
}

void WindowController::showError(const QString& text)
{
    if (!m_window.isVisible())
        bringToFront(); // or nobody would see it
    m_error.reset();
    m_error = showSheet({.message = text, .informative = {}, .buttons = {QStringLiteral("OK")}},
        [this](SheetResponse) { m_error.reset(); });
}

void WindowController::saveSettings()
{
    if (m_services.busy())
        return;
    try {
        m_settings.save(m_window.formSettings(m_settings.value()));
        m_services.loadMissingGuards();
        if (m_services.configureLogin)
            m_services.configureLogin(m_window.loginIsOn());
    } catch (const std::exception& error) {
        showError(errorText(error));
        return;
    }
    m_services.showActivity(m_settings.value().paused ? savedPausedText : savedText);
}

void WindowController::printTest()
{
    PrinterSettings form;
    try {
        form = m_window.formSettings(m_settings.value());
    } catch (const std::exception& error) {
        showError(errorText(error));
        return;
    }
    const std::weak_ptr<WindowController*> weak = m_self;
    m_services.printTest(form, JobDispatch::Answer([weak](bool success, const QString& message) {
        const auto self = weak.lock();
        if (self && !success)
            (*self)->showError(message);
    }));
}

} // namespace harrowmint
