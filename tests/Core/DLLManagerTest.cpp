#include <tbrCore/DLLManager.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QLibrary>
#include <QSysInfo>
#include <QTemporaryDir>

namespace
{

std::string path(const QTemporaryDir& folder, const char* name)
{
    return folder.filePath(QString::fromUtf8(name)).toStdString();
}

} // namespace

TEST(DLLManager, KnowsThePlatformsLibraryExtensionWithTheDot)
{
    EXPECT_EQ(QSysInfo::kernelType() == "winnt" ? ".dll" : ".so", DLLManager::GetDLLExtension());
    EXPECT_TRUE(QLibrary::isLibrary(QString::fromStdString("Camera" + DLLManager::GetDLLExtension())));
}

TEST(DLLManager, LooksForPluginsBesideTheProgramsFolderInABuildTree)
{
    const QTemporaryDir tree;
    for (const char* name : {"bin", "modules"})
        ASSERT_TRUE(QDir(tree.path()).mkpath(name));
    ASSERT_TRUE(QDir(tree.path()).mkpath("lib/tbrNavigation/modules")); // which has less weight
    EXPECT_EQ(path(tree, "modules"), DLLManager::GetModuleDirectory(path(tree, "bin")));
    EXPECT_EQ(path(tree, "modules"), DLLManager::GetModuleDirectory(path(tree, "bin/")));
}

TEST(DLLManager, LooksForPluginsBelowTheLibrariesOfAnInstallation)
{
    const QTemporaryDir tree;
    EXPECT_EQ(path(tree, "lib/tbrNavigation/modules"), DLLManager::GetModuleDirectory(path(tree, "bin")));
    EXPECT_EQ(path(tree, "Bohrf\xc3\xbchrung/lib/tbrNavigation/modules"),
              DLLManager::GetModuleDirectory(path(tree, "Bohrf\xc3\xbchrung/bin")));
}
