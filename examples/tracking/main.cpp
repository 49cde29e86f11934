// Watches one tool of a tool server and prints where it is, in millimetres, ten times a second.
//   tracking TOOL [HOST [PORT]]
// The settings (see TBR_SETTINGS) name the client-interface module.

#include <TSClientInterface/CaTool.h>
#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>

#include <QCoreApplication>
#include <QTimer>

#include <iostream>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();

    CaToolList tools;
    int status = tools.connect(qPrintable(arguments.value(2, "localhost")), arguments.value(3, "2222").toInt());
    if (status < 0)
    {
        std::cerr << CaToolServer::getMessage(status) << std::endl;
        return 1;
    }
    CaTool* tool = tools.getTool(arguments.value(1, "Pointer").toStdString());
    if (!tool)
    {
        std::cerr << "There is no such tool." << std::endl;
        return 1;
    }

    QObject::connect(tool, &CaTool::TransformationUpdatedSIG,
                     [](TransMatrix3d pose, bool isValid)
                     {
                         const Vector3d position = pose.getTranslation();
                         if (isValid)
                             std::cout << position.x << " " << position.y << " " << position.z << std::endl;
                         else
                             std::cout << "out of view" << std::endl;
                     });

    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout,
                     [&]
                     {
                         status = tools.updateAllTransforms(true); // every tool announces its new pose
                         if (status < 0)
                             application.exit(1);
                     });
    timer.start(100);
    return application.exec();
}
