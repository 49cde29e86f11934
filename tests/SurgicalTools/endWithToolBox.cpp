#include <SurgicalTools/SurgicalToolBox.h>
#include <tbrCore/Settings.h>

#include <QCoreApplication>

#include <iostream>
#include <memory>

namespace
{

/// Leaves an instrument in the box and a timer on its thread, and lets that thread run.
void useToolBox()
{
    tbr::Settings::getInstance().set("Tobrel/Navigation/SurgicalToolBox/SurgicalTool.0.ClassId", "PointerTool");
    SurgicalToolBox* box = SurgicalToolBox::getInstance();
    auto* thread = static_cast<_tbr::ToolListUpdateThread*>(box->findChild<QThread*>());
    std::cout << box->getAllTools().size() << " instrument, thread " << (thread->isRunning() ? "runs" : "does not run")
              << std::endl;
    if (QCoreApplication::instance())
        thread->timerId = thread->startTimer(1000);
}

} // namespace

/// Ends a process while the tool box's thread runs. The argument says where the application object is then: "none"
/// never existed, "gone" died before, "left" is still there.
int main(int argc, char** argv)
{
    const std::string application = argc > 1 ? argv[1] : "none";
    std::unique_ptr<QCoreApplication> gone;
    if (application == "gone")
        gone = std::make_unique<QCoreApplication>(argc, argv);
    if (application == "left")
        new QCoreApplication(argc, argv); // nobody deletes it
    useToolBox();
    return 0;
}
