#pragma once

#include <TSBase/Toollist.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

class QTimer;

/// Plays a recorded tracking log as if a camera delivered it: one position block every 50 ms.
///
/// Idle -> startReplay() -> running -> end of the file: idle again (single play), or from the first position block on
/// (auto repeat). A file that turns out to have no tools or no poses leaves the list stuck in "running" without a file,
/// so that startReplay() then answers "already running" until stopReplay() is called.
///
/// After a tool list that is not the first, the reader takes the next block's tag for the first byte of the time stamp,
/// and everything that follows is off by one byte: recordings in which tools come and go do not replay correctly. This
/// is how replay has always read; make one recording for each set of tools.
///
/// Thread: the timer runs where the list lives; startReplay() and stopReplay() may be called from any thread.
class TBR_NAVIGATION_EXPORT ReplayTL : public Toollist
{
    Q_OBJECT

public:
    /// `fileName` is UTF-8. The file is opened by startReplay().
    ReplayTL(const std::string& fileName, bool autoRepeat);
    ~ReplayTL() override;

    /// Opens the file, builds the tools and delivers the first pose. False, with a line in the log, when it runs
    /// already or the file is missing, no tracking log, or has no complete tool list and pose.
    bool startReplay() override;
    void stopReplay() override;
    /// Does nothing: a recording has no footswitch.
    void enableSwitchStateNotification() override;

protected:
    /// Null: clients cannot make tools in a recording.
    Tool* _createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                      int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
                      std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool flag) override;
    /// Each returns true and does nothing.
    bool _initTool(unsigned int slot, Tool* tool) override;
    bool _loadTool(Tool* tool) override;
    bool _updateCalibration(Tool* tool) override;
    /// Each leaves its arguments alone.
    void _requestSwitch(int& number, bool& state) override;
    void _getSwitchState(int& number, bool& state) override;

    /// Reads a tool-list block behind its tag: replaces all tools. True when the last tool of the block could be read.
    bool refreshToollistContent();
    /// Reads a position block behind its tag into the tools. True when the last tool's record was complete.
    bool refreshToolPosContent();
    /// Goes back to the first position block, or stops.
    void handleFileEnd();

private slots:
    void doReplay();

private:
    bool readHeader();
    bool readSlotCount(std::uint32_t& count);
    std::int64_t bytesLeft();
    bool readFirstFrame();
    void closeFile();

    const bool m_AutoRepeat;
    const std::string m_FileName;

    std::recursive_mutex
        m_ReplayMutex; // guards all below; held while the file is read (the end of the file stops the replay)
    std::atomic<bool> m_ReplayRunning; // atomic for the timer, which looks at it without the mutex
    std::FILE* m_ReplayFile;
    std::int64_t m_RestartPosition;
    QTimer* m_ReplayTimer; // set once, by the constructor
};
