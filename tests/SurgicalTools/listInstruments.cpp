#include <SurgicalTools/SurgicalTool.h>

#include <iostream>

/// Lists the registered instruments, each with the class of what its factory makes. It names no instrument class, so
/// nothing but loading the library can have registered them.
int main()
{
    for (const auto& entry : SurgicalTool::getFactory())
    {
        const auto tool = SurgicalTool::createTool(entry.first);
        std::cout << entry.first << " " << tool->metaObject()->className() << "\n";
    }
    std::cout << "SurgicalTool as meta type: " << (QMetaType::type("SurgicalTool") != QMetaType::UnknownType) << "\n";
    std::cout << "TransMatrix3d as meta type: " << (QMetaType::type("TransMatrix3d") != QMetaType::UnknownType) << "\n";
    return 0;
}
