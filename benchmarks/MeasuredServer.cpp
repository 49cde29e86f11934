#include "MeasuredServer.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>

#include <stdexcept>

namespace
{

constexpr int START_PATIENCE_MS = 30000;
constexpr int LOOK_PERIOD_MS = 5;

const char* const INPUT_FILE = "input";
const char* const OUTPUT_FILE = "output";
const char* const ERROR_FILE = "errors";

} // namespace

MeasuredServer::MeasuredServer(const QString& program, QStringList arguments, const File& file)
{
    if (!file.option.isEmpty())
        arguments << file.option << writeFile(file.content);
    m_Process.setStandardOutputFile(m_Directory.filePath(OUTPUT_FILE));
    m_Process.setStandardErrorFile(m_Directory.filePath(ERROR_FILE));
    m_Process.start(program, arguments);
    if (!m_Process.waitForStarted(START_PATIENCE_MS))
        throw std::runtime_error("cannot start " + program.toStdString() + ": " +
                                 m_Process.errorString().toStdString());
    waitUntilListening();
}

MeasuredServer::~MeasuredServer()
{
    m_Process.kill(); // nothing of it is worth an orderly end, for which a console program cannot be asked everywhere
    m_Process.waitForFinished();
}

QString MeasuredServer::writeFile(const QByteArray& content) const
{
    QFile file(m_Directory.filePath(INPUT_FILE));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
        throw std::runtime_error("cannot write " + file.fileName().toStdString());
    return file.fileName();
}

QByteArray MeasuredServer::contentOf(const char* name) const
{
    QFile file(m_Directory.filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void MeasuredServer::waitUntilListening()
{
    static const QRegularExpression line("^listening on [0-9.]+:([0-9]+)", QRegularExpression::MultilineOption);
    QElapsedTimer waited;
    waited.start();
    while (!waited.hasExpired(START_PATIENCE_MS) && !m_Process.waitForFinished(LOOK_PERIOD_MS) &&
           m_Process.state() == QProcess::Running)
    {
        const QRegularExpressionMatch match = line.match(QString::fromUtf8(contentOf(OUTPUT_FILE)));
        if (!match.hasMatch())
            continue;
        m_Port = match.captured(1).toInt();
        return;
    }
    throw std::runtime_error(m_Process.program().toStdString() +
                             " does not listen: " + contentOf(ERROR_FILE).trimmed().toStdString());
}
