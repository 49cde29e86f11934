#pragma once

#include <support/FrameCode.h>
#include <support/TestToollist.h>

#include <atomic>
#include <mutex>
#include <string>

/// A camera whose tools come, go and are replaced all the time, while every frame that it shows tells its number
/// (support/FrameCode.h). It also hides a tool now and then, fires the footswitch, reports errors, and obliges sessions
/// that make, initialise and calibrate tools.
///
/// "Base" always shows frame 0, the camera's own frame; "Ref", "Probe" and "Drill" move and are never away; "Saw" comes
/// and goes; "New" is made anew by sessions and shows frame 0, too.
///
/// Thread: tick() on one thread, the camera's; the list calls the rest on those of the sessions.
class ChurningCamera
{
public:
    static constexpr int SLOTS = 8;
    static constexpr int MARKERS = 3; // of every tool

    explicit ChurningCamera(TestToollist& list) : m_List(list)
    {
        for (const unsigned int slot : {BASE, REF, PROBE, DRILL, SAW, NEW})
            m_List.insertTool(slot, "", makeShown(slot));
        m_List.onCreateTool = [this](const TestToollist::Creation&) { return makeNew(); };
        m_List.onInitTool = [this](unsigned int, Tool* tool) { return isHere(tool); };
        m_List.onUpdateCalibration = [this](Tool* tool) { return isHere(tool); };
        m_List.onRequestSwitch = [this](int& number, bool& isPressed)
        {
            number = 1;
            isPressed = m_IsPressed;
        };
        m_List.onGetSwitchState = m_List.onRequestSwitch;
    }

    /// One frame: all tools show it, and one of them is replaced, or comes or goes.
    void tick()
    {
        const std::lock_guard<std::mutex> lock(m_SlotsMutex);
        ++m_Ticks;
        m_Frame = m_Ticks % framecode::PERIOD;
        for (const unsigned int slot : {REF, PROBE, DRILL, SAW})
            if (Tool* tool = m_List.getTool(slot))
                framecode::show(*tool, m_Frame);
        change();
    }

    int ticks() const { return m_Ticks; }

private:
    enum Slot : unsigned int
    {
        BASE,
        REF,
        PROBE,
        DRILL,
        SAW,
        NEW
    };

    void change()
    {
        switch (m_Ticks % 32)
        {
        case 7:
            return unplugSaw();
        case 15:
            return plugSaw();
        case 23:
            return hide(*m_List.getTool(DRILL));
        case 27:
            return m_List.setStatus(m_Ticks % 2, "status of tick " + std::to_string(m_Ticks));
        case 31:
            return fireSwitch();
        default:
            return replace(static_cast<unsigned int>(m_Ticks) % SAW);
        }
    }

    void unplugSaw()
    {
        m_List.removeTool("Saw");
        m_List.toolSetChanged();
    }
    void plugSaw()
    {
        m_List.insertTool(SAW, "", makeShown(SAW));
        m_List.toolSetChanged();
    }
    void fireSwitch()
    {
        m_IsPressed = !m_IsPressed;
        m_List.notifySwitchStateChanged();
    }
    static void hide(Tool& tool)
    {
        Matrix3x3 invalid;
        invalid[0][0] = Tool::invalidVector.x;
        tool.updateTransform(Tool::invalidVector, invalid);
    }
    void replace(unsigned int slot)
    {
        const Tool* const former = m_List.getTool(slot);
        m_List.insertTool(slot, "", makeShown(slot));
        delete former;
    }

    Tool* makeShown(unsigned int slot) const
    {
        static const char* const NAMES[] = {"Base", "Ref", "Probe", "Drill", "Saw", "New"};
        Tool* const tool =
            makeTool(NAMES[slot], std::vector<Vector3d>(static_cast<std::size_t>(MARKERS)), {{1, 0, 0}, {0, 1, 0}});
        framecode::show(*tool, slot == BASE || slot == NEW ? 0 : m_Frame);
        return tool;
    }

    /// For a session: a tool in place of the one that was made before.
    Tool* makeNew()
    {
        const std::lock_guard<std::mutex> lock(m_SlotsMutex);
        replace(NEW);
        return m_List.getTool(NEW);
    }

    /// Whether a tool that a session speaks of still stands in its slot; only then may it be used.
    bool isHere(Tool* tool)
    {
        const std::lock_guard<std::mutex> lock(m_SlotsMutex);
        for (unsigned int slot = 0; slot < SLOTS; ++slot)
            if (m_List.getTool(slot) == tool)
                return !tool->getName().empty();
        return false;
    }

    TestToollist& m_List;
    std::atomic<bool> m_IsPressed{false};
    std::atomic<int> m_Ticks{0};

    std::mutex m_SlotsMutex; // one thread at a time changes what stands in the slots; guards m_Frame, too
    int m_Frame = 0;
};
