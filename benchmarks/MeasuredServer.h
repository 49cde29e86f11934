#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A server program that runs as a child of this one and prints "listening on ADDRESS:PORT" when it is ready. What it
/// prints otherwise goes to files, so that it never waits for a reader. It and its files end with this object.
///
/// Errors: a program that cannot be started or does not listen in time is a std::runtime_error that names it and quotes
/// what it said.
class MeasuredServer
{
public:
    /// A file that the server needs: its contents, and the option that tells its path. No option: no file.
    struct File
    {
        QString option;
        QByteArray content;
    };

    MeasuredServer(const QString& program, QStringList arguments, const File& file = {});
    ~MeasuredServer();
    MeasuredServer(const MeasuredServer&) = delete;
    MeasuredServer& operator=(const MeasuredServer&) = delete;

    int port() const { return m_Port; }
    qint64 processId() const { return m_Process.processId(); }

private:
    void waitUntilListening();
    QString writeFile(const QByteArray& content) const;
    QByteArray contentOf(const char* file) const;

    QTemporaryDir m_Directory;
    QProcess m_Process;
    int m_Port = 0;
};
