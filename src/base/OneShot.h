#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

namespace harrowmint {

/// A promise of exactly one answer: a copyable handle on one-shot shared state. The first answer counts, later ones do
/// nothing, and when the last copy dies unanswered the abandonment action runs instead.
/// Any thread; both actions run on the thread that answers, or that drops the last copy.
template <class... Args>
class OneShot {
public:
    using Action = std::function<void(Args...)>;

    /// `action` gets the first answer; `abandoned`, if any, runs when no answer ever came.
    explicit OneShot(Action action, std::function<void()> abandoned = {})
        : m_state(std::make_shared<State>(std::move(action), std::move(abandoned)))
    {
    }

    /// Answers. Returns whether this was the answer that counted.
    bool operator()(Args... args) const
    {
        if (m_state->answered.exchange(true))
            return false;
        const Action action = std::exchange(m_state->action, {});
        action(std::move(args)...);
        return true;
    }

    /// Whether an answer has been given.
    [[nodiscard]] bool answered() const { return m_state->answered; }

private:
    struct State {
        State(Action toAnswer, std::function<void()> toAbandon)
            : action(std::move(toAnswer))
            , abandoned(std::move(toAbandon))
        {
        }
        State(const State&) = delete;
        State& operator=(const State&) = delete;
        ~State()
        {
            if (!answered && abandoned)
                abandoned();
        }

        std::atomic<bool> answered = false;
        Action action;
        std::function<void()> abandoned;
    };

    std::shared_ptr<State> m_state;
};

} // namespace harrowmint
