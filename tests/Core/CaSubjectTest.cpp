#include <tbrCore/CaObserver.h>
#include <tbrCore/CaSubject.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{

using Diary = std::vector<std::string>;

/// Writes its name and the event into a diary; then does what the test wants.
class Witness : public CaObserver
{
public:
    Witness(
        std::string name, Diary& diary, std::function<void()> reaction = [] {})
        : m_Name(std::move(name)), m_Diary(diary), m_Reaction(std::move(reaction))
    {
    }

    void notified(CaSubject&, const char* event, void*) override
    {
        m_Diary.push_back(m_Name + ":" + event);
        m_Reaction();
    }

private:
    const std::string m_Name;
    Diary& m_Diary;
    const std::function<void()> m_Reaction;
};

class Recorder : public CaObserver
{
public:
    void notified(CaSubject& subject, const char* event, void* data) override
    {
        m_Subject = &subject;
        m_Event = event;
        m_Data = data;
    }

    CaSubject* m_Subject = nullptr;
    const char* m_Event = nullptr;
    void* m_Data = this;
};

class Counter : public CaObserver
{
public:
    void notified(CaSubject&, const char*, void*) override { ++m_Count; }
    std::atomic<int> m_Count{0};
};

} // namespace

TEST(CaSubject, HandsTheObserverItselfTheEventAndTheData)
{
    CaSubject subject;
    Recorder recorder;
    subject.addObserver(&recorder);

    int data = 0;
    const char* const event = "CaRigidBody::RIGREALS_CHANGED";
    subject.notify(event, &data);
    EXPECT_EQ(&subject, recorder.m_Subject);
    EXPECT_EQ(event, recorder.m_Event);
    EXPECT_EQ(&data, recorder.m_Data);

    subject.notify(event, nullptr);
    EXPECT_EQ(nullptr, recorder.m_Data);
}

TEST(CaSubject, CallsObserversInTheOrderOfTheirRegistration)
{
    Diary diary;
    CaSubject subject;
    Witness a("a", diary), b("b", diary), c("c", diary);
    for (Witness* witness : {&b, &c, &a})
        subject.addObserver(witness);
    subject.notify("e", nullptr);
    EXPECT_EQ((Diary{"b:e", "c:e", "a:e"}), diary);
}

TEST(CaSubject, CallsAnObserverOnceHoweverOftenItWasAdded)
{
    Diary diary;
    CaSubject subject;
    Witness a("a", diary), b("b", diary);
    for (Witness* witness : {&a, &b, &a})
        subject.addObserver(witness);
    subject.notify("1", nullptr);
    subject.removeObserver(&a);
    subject.notify("2", nullptr);
    EXPECT_EQ((Diary{"a:1", "b:1", "b:2"}), diary);
}

TEST(CaSubject, IgnoresNullAndUnknownObservers)
{
    Diary diary;
    CaSubject subject;
    Witness stranger("s", diary);
    subject.addObserver(nullptr);
    subject.removeObserver(nullptr);
    subject.removeObserver(&stranger);
    subject.notify("e", nullptr);
    EXPECT_EQ(Diary{}, diary);
}

TEST(CaSubject, DoesNotCallAnObserverThatAnEarlierOneRemoved)
{
    Diary diary;
    CaSubject subject;
    auto victim = std::make_unique<Witness>("victim", diary);
    Witness killer("killer", diary,
                   [&]
                   {
                       subject.removeObserver(victim.get());
                       victim.reset();
                   });
    Witness last("last", diary);
    subject.addObserver(&killer);
    subject.addObserver(victim.get());
    subject.addObserver(&last);
    subject.notify("e", nullptr);
    EXPECT_EQ((Diary{"killer:e", "last:e"}), diary);
}

TEST(CaSubject, LetsAnObserverRemoveItself)
{
    Diary diary;
    CaSubject subject;
    Witness* pointer = nullptr;
    Witness once("once", diary, [&] { subject.removeObserver(pointer); });
    Witness always("always", diary);
    pointer = &once;
    subject.addObserver(&once);
    subject.addObserver(&always);
    subject.notify("1", nullptr);
    subject.notify("2", nullptr);
    EXPECT_EQ((Diary{"once:1", "always:1", "always:2"}), diary);
}

TEST(CaSubject, CallsAnObserverThatWasAddedMeanwhileFromTheNextEventOn)
{
    Diary diary;
    CaSubject subject;
    Witness late("late", diary);
    Witness early("early", diary, [&] { subject.addObserver(&late); });
    subject.addObserver(&early);
    subject.notify("1", nullptr);
    subject.notify("2", nullptr);
    EXPECT_EQ((Diary{"early:1", "early:2", "late:2"}), diary);
}

TEST(CaSubject, LetsAnObserverRaiseAnEventItself)
{
    Diary diary;
    CaSubject subject;
    int depth = 0;
    Witness a("a", diary,
              [&]
              {
                  if (++depth == 1)
                      subject.notify("inner", nullptr);
              });
    Witness b("b", diary);
    subject.addObserver(&a);
    subject.addObserver(&b);
    subject.notify("outer", nullptr);
    EXPECT_EQ((Diary{"a:outer", "a:inner", "b:inner", "b:outer"}), diary);
}

TEST(CaSubject, StaysUsableWhenAnObserverThrows)
{
    Diary diary;
    CaSubject subject;
    Witness thrower("thrower", diary, [] { throw 1; });
    subject.addObserver(&thrower);
    EXPECT_THROW(subject.notify("1", nullptr), int);
    auto other = std::async(std::launch::async, [&] { subject.removeObserver(&thrower); });
    other.wait();
    subject.notify("2", nullptr);
    EXPECT_EQ(Diary{"thrower:1"}, diary);
}

TEST(CaSubject, DoesNotReturnFromARemovalWhileTheObserverIsRunning)
{
    CaSubject subject;
    Diary diary;
    std::promise<void> isRunning;
    std::atomic<bool> hasReturned{false};
    Witness slow("slow", diary,
                 [&]
                 {
                     isRunning.set_value();
                     std::this_thread::sleep_for(std::chrono::milliseconds(30));
                     hasReturned = true;
                 });
    subject.addObserver(&slow);
    std::thread notifier([&] { subject.notify("e", nullptr); });
    isRunning.get_future().wait();

    subject.removeObserver(&slow);

    EXPECT_TRUE(hasReturned);
    notifier.join();
}

TEST(CaSubject, IsUsedByManyThreadsAtOnce)
{
    CaSubject subject;
    Counter constant;
    subject.addObserver(&constant);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [&subject]
            {
                for (int i = 0; i < 200; ++i)
                {
                    Counter passing;
                    subject.addObserver(&passing);
                    subject.notify("e", nullptr);
                    subject.removeObserver(&passing);
                    EXPECT_GE(passing.m_Count, 1);
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(800, constant.m_Count);
}
