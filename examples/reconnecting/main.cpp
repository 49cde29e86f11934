// Prints where one tool is, seen from another one, ten times a second, and goes on when the server is lost and comes
// back.
//   reconnecting TOOL REFERENCE [HOST [PORT]]
// The settings (see TBR_SETTINGS) name the client-interface module.

#include <TSClientInterface/CaTool.h>
#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>

#include <QCoreApplication>
#include <QTimer>

#include <iostream>

namespace
{

/// A list that is never lost for good. Its tools are the same objects through all connections.
class Tracking
{
public:
    explicit Tracking(const QStringList& arguments)
        : m_ToolName(arguments.value(1, "Pointer").toStdString()),
          m_ReferenceName(arguments.value(2, "DynamicReference").toStdString()),
          m_Host(arguments.value(3, "localhost").toStdString()), m_Port(arguments.value(4, "2222").toInt())
    {
        // Emitted when the list has connected, too: the reference belongs to the connection.
        QObject::connect(&m_Tools, &CaToolList::ToolSetChangedSIG, [this] { setReference(); });
    }

    void step()
    {
        const int status =
            m_Tools.isConnected() ? m_Tools.updateAllTransforms(true) : m_Tools.connect(m_Host.c_str(), m_Port);
        // When the server stands still or a cable was pulled, nothing comes and nothing is closed. So that the
        // connection is not waited for longer than it is worth, it is given up for a new one.
        m_TimeOuts = status == CaToolServer::SERVER_TIMEOUT ? m_TimeOuts + 1 : 0;
        if (m_TimeOuts == TIMEOUTS_TO_BEAR)
            m_Tools.disconnect();
        if (status < 0)
            std::cout << CaToolServer::getMessage(status) << std::endl;
        else
            print();
    }

private:
    static constexpr int TIMEOUTS_TO_BEAR = 2;

    void setReference()
    {
        CaTool* reference = m_Tools.getTool(m_ReferenceName);
        m_IsReferenceSet = reference && m_Tools.setReference(reference) >= 0;
    }

    void print() const
    {
        const CaTool* tool = m_Tools.getTool(m_ToolName);
        TransMatrix3d pose;
        if (!m_IsReferenceSet || !tool || !tool->getTransform(pose))
        {
            std::cout << "out of view" << std::endl;
            return;
        }
        const Vector3d position = pose.getTranslation();
        std::cout << position.x << " " << position.y << " " << position.z << std::endl;
    }

    CaToolList m_Tools;
    const std::string m_ToolName;
    const std::string m_ReferenceName;
    const std::string m_Host;
    const int m_Port;
    bool m_IsReferenceSet = false;
    int m_TimeOuts = 0;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    Tracking tracking(application.arguments());
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { tracking.step(); });
    timer.start(100);
    return application.exec();
}
