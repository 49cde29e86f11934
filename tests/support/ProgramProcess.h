#pragma once

#include <support/ProcessControl.h>
#include <support/TestFolder.h>

#include <gtest/gtest.h>

#include <QProcess>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

/// A program in a process of its own.
///
/// Its output goes to files, so that it never waits for the test. Its settings are empty unless the test names others:
/// nothing depends on the user. A process that is still there at the end is killed, and the test fails: a test says
/// how its program ends.
class ProgramProcess
{
public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    /// Starts the program; `reader` takes its standard output, if there is one.
    ProgramProcess(const std::string& program, const std::vector<std::string>& arguments,
                   const Environment& environment = {}, QProcess* reader = nullptr)
    {
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        variables.insert("TBR_SETTINGS", QString::fromStdString(m_Folder.write("settings.ini", "")));
        for (const auto& [name, value] : environment)
            variables.insert(QString::fromStdString(name), QString::fromStdString(value));
        m_Process.setProcessEnvironment(variables);
        m_Process.setStandardErrorFile(QString::fromStdString(m_Folder.path("stderr")));
        if (reader)
            m_Process.setStandardOutputProcess(reader);
        else
            m_Process.setStandardOutputFile(QString::fromStdString(m_Folder.path("stdout")));

        QStringList list;
        for (const std::string& argument : arguments)
            list << QString::fromStdString(argument);
        processcontrol::separate(m_Process);
        m_Process.start(QString::fromStdString(program), list);
        EXPECT_TRUE(m_Process.waitForStarted(PATIENCE_MS));
    }

    ~ProgramProcess()
    {
        if (!isRunning())
            return;
        ADD_FAILURE() << "the program is still running; its standard error:\n" << standardError();
        m_Process.kill();
        m_Process.waitForFinished(PATIENCE_MS);
    }

    ProgramProcess(const ProgramProcess&) = delete;
    ProgramProcess& operator=(const ProgramProcess&) = delete;

    bool isRunning() const { return m_Process.state() != QProcess::NotRunning; }
    /// What it has written so far; each line ends with "\n", however the system ends lines.
    std::string standardOutput() const { return textOf("stdout"); }
    std::string standardError() const { return textOf("stderr"); }

    /// By which the system knows it while it runs.
    qint64 processId() const { return m_Process.processId(); }

    /// Asks the program to end, as the system (SIGTERM) or the user (SIGINT) does, and returns its exit status.
    int stop(int signal = SIGTERM)
    {
        ask(signal);
        return exitStatus();
    }
    void ask(int signal) { EXPECT_TRUE(processcontrol::askToEnd(m_Process, signal)); }

    /// Ends the program as a power cut does.
    void crash()
    {
        m_Process.kill();
        EXPECT_TRUE(m_Process.waitForFinished(PATIENCE_MS));
    }

    /// Lets the program stand still, and go on.
    void pause() { EXPECT_TRUE(processcontrol::pause(m_Process)); }
    void resume() { EXPECT_TRUE(processcontrol::resume(m_Process)); }

    /// Waits for its end. -1 when it crashed or does not end.
    int exitStatus()
    {
        if (isRunning() && !m_Process.waitForFinished(PATIENCE_MS))
            return -1;
        EXPECT_EQ(m_Process.exitStatus(), QProcess::NormalExit) << standardError();
        return m_Process.exitStatus() == QProcess::NormalExit ? m_Process.exitCode() : -1;
    }

private:
    static constexpr int PATIENCE_MS = 60000;

    std::string textOf(const std::string& file) const
    {
        return QString::fromStdString(m_Folder.read(file)).replace("\r\n", "\n").toStdString();
    }

    TestFolder m_Folder;
    QProcess m_Process;
};
