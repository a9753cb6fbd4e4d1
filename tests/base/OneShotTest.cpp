#include "base/OneShot.h"

#include <thread>

using namespace harrowmint;

namespace {

TEST(OneShot, AnswersOnceAndIgnoresTheRest)
{
    std::vector<int> answers;
    const OneShot<int> answer([&](int value) { answers.push_back(value); });
    OneShot<int> copy([](int) {});
    copy = answer;
    EXPECT_FALSE(answer.answered());
    EXPECT_TRUE(copy(1));
    EXPECT_FALSE(answer(2));
    EXPECT_FALSE(copy(3));
    EXPECT_TRUE(answer.answered());
    EXPECT_EQ(answers, std::vector<int>{1});
}

TEST(OneShot, TellsOfAbandonmentWhenTheLastCopyDiesUnanswered)
{
    int abandoned = 0;
    int answered = 0;
    std::optional<OneShot<>> first(
        std::in_place, [&] { ++answered; }, [&] { ++abandoned; });
    std::optional<OneShot<>> second(first);
    first.reset();
    EXPECT_EQ(abandoned, 0);
    second.reset();
    EXPECT_EQ(abandoned, 1);
    EXPECT_EQ(answered, 0);
}

TEST(OneShot, DoesNotTellOfAbandonmentAfterAnAnswer)
{
    int abandoned = 0;
    {
        const OneShot<> answer([] {}, [&] { ++abandoned; });
        answer();
    }
    EXPECT_EQ(abandoned, 0);
}

TEST(OneShot, MayDieUnansweredWithoutAnAbandonmentAction)
{
    bool answered = false;
    {
        const OneShot<> answer([&] { answered = true; });
    }
    EXPECT_FALSE(answered);
}

TEST(OneShot, LetsGoOfItsActionOnceItHasRun)
{
    const auto held = std::make_shared<int>();
    const OneShot<> answer([held] {});
    EXPECT_EQ(held.use_count(), 2);
    answer();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(OneShot, MayBeAnsweredAgainOrDestroyedByItsOwnAction)
{
    int answers = 0;
    std::unique_ptr<OneShot<>> answer;
    answer = std::make_unique<OneShot<>>([&] {
        ++answers;
        EXPECT_FALSE((*answer)());
        answer.reset();
    });
    (*answer)();
    EXPECT_EQ(answers, 1);
}

TEST(OneShot, PassesItsArgumentsOn)
{
    QString text;
    std::unique_ptr<int> number;
    const OneShot<QString, std::unique_ptr<int>> answer([&](QString t, std::unique_ptr<int> n) {
        text = std::move(t);
        number = std::move(n);
    });
    answer(QStringLiteral("a"), std::make_unique<int>(7));
    EXPECT_EQ(text, QStringLiteral("a"));
    EXPECT_EQ(*number, 7);
}

TEST(OneShot, CountsOneAnswerOfManyThreads)
{
    for (int round = 0; round < 50; ++round) {
        int answers = 0; // guarded by the promise itself
        std::atomic<int> counted = 0;
        const OneShot<> answer([&] { ++answers; });
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([answer, &counted] { counted += answer() ? 1 : 0; });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(answers, 1);
        EXPECT_EQ(counted, 1);
    }
}

} // namespace
