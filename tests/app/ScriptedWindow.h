#pragma once

#include "app/window/Sheet.h"

#include <QStringList>
#include <memory>
#include <vector>

namespace harrowmint::test {

/// Shows nothing: the test presses the buttons.
class ScriptedWindow final : public SheetWindow {
public:
    struct Shown {
        SheetText text;
        Completion completion;
        bool open = true;
    };

    void bringToFront() override { events.append(QStringLiteral("front")); }
    std::unique_ptr<OpenSheet> showSheet(const SheetText& text, Completion completion) override
    {
        events.append(QStringLiteral("sheet"));
        sheets.push_back(std::make_shared<Shown>(Shown{text, std::move(completion)}));
        return std::make_unique<Handle>(sheets.back());
    }
    void showError(const QString& text) override { errors.append(text); }

    void press(SheetResponse response, std::size_t index)
    {
        const auto sheet = sheets.at(index);
        if (sheet->open)
            sheet->completion(response);
    }

    QStringList events;
    QStringList errors;
    std::vector<std::shared_ptr<Shown>> sheets;

private:
    class Handle final : public OpenSheet {
    public:
        explicit Handle(std::shared_ptr<Shown> shown)
            : m_shown(std::move(shown))
        {
        }
        Handle(const Handle&) = delete;
        Handle& operator=(const Handle&) = delete;
        ~Handle() override { m_shown->open = false; }

    private:
        std::shared_ptr<Shown> m_shown;
    };
};

} // namespace harrowmint::test
