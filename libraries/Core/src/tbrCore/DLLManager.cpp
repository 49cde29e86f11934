#include <tbrCore/DLLManager.h>

#include <QDir>

std::string DLLManager::GetDLLExtension()
{
    return TBR_PLUGIN_EXTENSION;
}

std::string DLLManager::GetModuleDirectory(const std::string& programFolder)
{
    const QDir folder(QString::fromStdString(programFolder));
    const QDir buildTree(folder.filePath("../modules"));
    const QString found = buildTree.exists() ? buildTree.path() : folder.filePath("../lib/tbrNavigation/modules");
    return QDir::cleanPath(found).toStdString();
}
