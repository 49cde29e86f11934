#pragma once

#include "TestSession.h"

#include <support/FrameCode.h>

#include <atomic>
#include <set>
#include <string>
#include <vector>

/// A client that asks a session everything, again and again, while the tools change under it. Each answer must be one
/// that the request may have, and each pose, with its RMS, of one frame of its tool.
///
/// Thread: one at a time.
class ChurnClient
{
public:
    /// What the frame of reference is: none, one that never moves, or one that does.
    enum class Reference
    {
        CAMERA,
        BASE,
        REF
    };

    ChurnClient(Toollist& list, wire::Order order, Reference reference)
        : m_Session(list), m_Order(order), m_Reference(reference)
    {
        m_Session.greet(order);
    }

    /// One round of all requests.
    void askEverything()
    {
        using namespace wire;
        expect(m_Session.ask(packet(STATUS)), {4}, {0, 1});
        expect(m_Session.ask(packet(FRAME, referenceName())), {4});
        for (const char* name : {"Probe", "Drill", "Saw", "Base", "New"})
            askAbout(name);
        askAboutAll();
        change();
        askSwitch();
    }

    /// How many poses were looked at.
    int checkedPoses() const { return m_CheckedPoses; }

private:
    using Kind = unsigned char;

    static constexpr std::size_t ERROR_SIZE = 264;

    std::string referenceName() const
    {
        return m_Reference == Reference::CAMERA ? "CAM" : m_Reference == Reference::BASE ? "Base" : "Ref";
    }

    static int errorIn(const std::string& answer)
    {
        return answer.size() == ERROR_SIZE ? static_cast<unsigned char>(answer[7]) : -1;
    }

    /// Whether an answer has one of the sizes, or is one of the errors.
    static void expect(const std::string& answer, const std::set<std::size_t>& sizes, const std::set<int>& errors = {})
    {
        EXPECT_TRUE(sizes.count(answer.size()) != 0 || errors.count(errorIn(answer)) != 0)
            << answer.size() << " bytes, error " << errorIn(answer);
    }

    void askAbout(const std::string& name)
    {
        using namespace wire;
        const std::string pose = m_Session.ask(packet(POSE, name));
        expect(pose, {88}, {7, 8, 9});
        checkPose(pose);
        const std::string markers = m_Session.ask(packet(MARKER, name));
        expect(markers, {428}, {9});
        checkMarkers(markers);
        expect(m_Session.ask(packet(IMAGINARY, name)), {140}, {7, 8, 9});
        expect(m_Session.ask(packet(GET_NORMALS, name)), {440}, {9, 16});
    }

    void askAboutAll()
    {
        using namespace wire;
        for (const std::string& markers : askAll(ALL_MARKER))
        {
            expect(markers, {428});
            checkMarkers(markers);
        }
        for (const std::string& points : askAll(ALL_IMAGINARY))
            expect(points, {140});
        checkPoses(askAll(ALL_POSES));
        expect(m_Session.ask(packet(ALLOWED) + std::string(256, '\1')), {4});
        expect(m_Session.ask(packet(NEAREST)), {140}, {6, 7, 14});
    }

    /// The answers for each tool, asked again until the set of tools stays as it was at the tool check before.
    std::vector<std::string> askAll(Kind kind)
    {
        for (;;)
        {
            for (const std::string& description : receiveAll(wire::TOOL_CHECK))
                expect(description, {560});
            const std::vector<std::string> answers = receiveAll(kind);
            if (answers.empty() || errorIn(answers.front()) != 6)
                return answers;
        }
    }

    /// All answers to a request but the acknowledgement; the only one when it is an error for all tools.
    std::vector<std::string> receiveAll(Kind kind)
    {
        std::vector<std::string> answers;
        m_Session.send(wire::packet(kind));
        for (;;)
        {
            const std::string answer = m_Session.receive();
            if (answer.size() <= 4)
                return answers;
            answers.push_back(answer);
            if (errorIn(answer) == 6 || errorIn(answer) == 7)
                return answers;
        }
    }

    void change()
    {
        using namespace wire;
        const auto points = [](int count) { return zeros(static_cast<std::size_t>(12 * count)); };
        expect(m_Session.ask(packet(ADD_NORMALS, "Probe") + integer(m_Order, 3) + points(32) + zeros(16)), {4},
               {9, 13});
        expect(m_Session.ask(packet(CALIBRATE, "Probe") + zeros(4) + points(2)), {4}, {9, 13});
        expect(m_Session.ask(packet(CALIBRATE, "Saw") + zeros(4) + points(2)), {4}, {9, 13});
        expect(m_Session.ask(packet(TOOL_INIT) + zeros(4) + nameField("New")), {4}, {15});
    }

    void askSwitch()
    {
        using namespace wire;
        expect(m_Session.ask(packet(SWITCH)), {12});
        m_Session.send(packet(POSES_ON_SWITCH) + integer(m_Order, 1) + integer(m_Order, 1));
        std::string answer;
        do
            answer = m_Session.receive();
        while (answer.size() > 4 && errorIn(answer) != 6 && errorIn(answer) != 7);
        expect(answer, {4}, {6, 7});
        expect(m_Session.ask(packet(0)), {}, {11});
    }

    /// Whether numbers can be read from the session's answers; swapped floats lose too much.
    bool isReadable() const { return m_Order == wire::Order::HOST; }

    void checkPoses(const std::vector<std::string>& records)
    {
        for (const std::string& record : records)
        {
            expect(record, {88}, {7, 8});
            checkPose(record);
        }
    }

    void checkPose(const std::string& record)
    {
        if (record.size() != 88)
            return;
        ++m_CheckedPoses;
        if (!isReadable())
            return;
        const framecode::Pose pose = framecode::poseIn(record);
        const int frame = static_cast<int>(framecode::numberAt<float>(record, 84));
        const bool isOfOneFrame = m_Reference == Reference::REF ? framecode::isSeenFromOneFrame(pose, frame)
                                                                : framecode::frameOf(pose) == frame;
        EXPECT_TRUE(isOfOneFrame) << &record[4] << ": translation " << pose.translation.x << " " << pose.translation.y
                                  << " " << pose.translation.z << ", RMS of frame " << frame;
    }

    void checkMarkers(const std::string& record) const
    {
        if (!isReadable() || record.size() != 428)
            return;
        const int count = framecode::numberAt<int>(record, 36);
        const int frame = static_cast<int>(framecode::numberAt<float>(record, 424));
        for (int i = 0; i < count && i < 32; ++i)
            EXPECT_EQ(framecode::pointAt(record, 40 + 12 * static_cast<std::size_t>(i)),
                      framecode::marker(frame, static_cast<unsigned int>(i)));
    }

    TestSession m_Session;
    const wire::Order m_Order;
    const Reference m_Reference;
    int m_CheckedPoses = 0;
};
