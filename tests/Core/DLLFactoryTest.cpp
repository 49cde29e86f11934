#include <tbrCore/DLLFactory.h>
#include <tbrCore/DLLManager.h>

#include <plugins/GreeterFactory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

using GreeterLibrary = DLLFactory<GreeterFactory>;

/// The file of one of the plug-ins that are built for these tests.
std::string plugin(const std::string& name)
{
    return QCoreApplication::applicationDirPath().toStdString() + "/plugins/" + name + DLLManager::GetDLLExtension();
}

/// A library's file name on this system.
std::string named(const std::string& name)
{
    return name + DLLManager::GetDLLExtension();
}

std::string cannotBeLoaded(const std::string& file)
{
    return "The library \"" + file + "\" cannot be loaded: ";
}

/// Our words, and then some of the system, in the user's language, that name the file again.
auto isReasonOfTheSystem(const std::string& file)
{
    return AllOf(StartsWith(cannotBeLoaded(file)),
                 ContainsRegex("cannot be loaded: .*\\" + DLLManager::GetDLLExtension() + ".*: .+"),
                 Not(HasSubstr("there is no such file")));
}

/// Works in a folder of its own while it lives.
class WorkingFolder
{
public:
    WorkingFolder() : m_Before(QDir::currentPath()) { QDir::setCurrent(m_Folder.path()); }
    ~WorkingFolder() { QDir::setCurrent(m_Before); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

    std::string path(const std::string& name) const
    {
        return m_Folder.filePath(QString::fromStdString(name)).toStdString();
    }

private:
    const QTemporaryDir m_Folder;
    const QString m_Before;
};

} // namespace

TEST(DLLFactory, GivesTheFactoryOfAPlugin)
{
    const GreeterLibrary library(plugin("GoodPlugin").c_str());
    ASSERT_NE(nullptr, library.getFactory());
    EXPECT_EQ("hello", library.getFactory()->greet());
    EXPECT_EQ("", library.getErrorMessage());
}

TEST(DLLFactory, TakesNoNameForTheUsualFactoryName)
{
    const GreeterLibrary library(plugin("GoodPlugin").c_str(), nullptr);
    ASSERT_NE(nullptr, library.getFactory());
    EXPECT_EQ("hello", library.getFactory()->greet());
}

TEST(DLLFactory, GivesTheSameFactoryEachTimeAPluginIsLoaded)
{
    const GreeterLibrary first(plugin("GoodPlugin").c_str());
    const GreeterLibrary second(plugin("GoodPlugin").c_str());
    EXPECT_EQ(first.getFactory(), second.getFactory());
}

TEST(DLLFactory, LeavesTheFactoryUsableWhenItIsGoneItself)
{
    GreeterFactory* factory = nullptr;
    {
        const GreeterLibrary library(plugin("GoodPlugin").c_str());
        factory = library.getFactory();
    }
    ASSERT_NE(nullptr, factory);
    EXPECT_EQ("hello", factory->greet());
}

TEST(DLLFactory, AcceptsAPluginThatDoesNotNameItsInterface)
{
    const GreeterLibrary library(plugin("PlainPlugin").c_str());
    ASSERT_NE(nullptr, library.getFactory());
    EXPECT_EQ("hello, stranger", library.getFactory()->greet());
}

TEST(DLLFactory, AsksForAFactoryByTheNameItWasGiven)
{
    const GreeterLibrary library(plugin("PlainPlugin").c_str(), "createOtherFactory");
    ASSERT_NE(nullptr, library.getFactory());
    EXPECT_EQ("hello, other", library.getFactory()->greet());
}

TEST(DLLFactory, RefusesAPluginOfAnotherInterface)
{
    const GreeterLibrary library(plugin("WrongInterfacePlugin").c_str());
    EXPECT_EQ(nullptr, library.getFactory());
    EXPECT_EQ("The library \"" + plugin("WrongInterfacePlugin") +
                  "\" offers a factory for ParterFactory 1, but one for GreeterFactory 1 is needed",
              library.getErrorMessage());
}

TEST(DLLFactory, LoadsAPluginOfAnyInterfaceThroughItsBaseClass)
{
    EXPECT_EQ("", DLLFactoryBase(plugin("WrongInterfacePlugin").c_str(), nullptr).getErrorMessage());
}

TEST(DLLFactory, RefusesALibraryWithoutTheFactoryFunction)
{
    const GreeterLibrary library(plugin("EmptyPlugin").c_str());
    EXPECT_EQ(nullptr, library.getFactory());
    EXPECT_EQ("The library \"" + plugin("EmptyPlugin") +
                  "\" is no plug-in: it does not export the function createFactory",
              library.getErrorMessage());

    const GreeterLibrary other(plugin("GoodPlugin").c_str(), "createOtherFactory");
    EXPECT_EQ(nullptr, other.getFactory());
    EXPECT_EQ("The library \"" + plugin("GoodPlugin") +
                  "\" is no plug-in: it does not export the function createOtherFactory",
              other.getErrorMessage());
}

TEST(DLLFactory, ReportsAPluginThatReturnsNoFactory)
{
    const GreeterLibrary library(plugin("NullPlugin").c_str());
    EXPECT_EQ(nullptr, library.getFactory());
    EXPECT_EQ("The library \"" + plugin("NullPlugin") + "\" returned no factory from its function createFactory",
              library.getErrorMessage());
}

TEST(DLLFactory, ReportsAPluginThatThrows)
{
    const GreeterLibrary library(plugin("ThrowingPlugin").c_str());
    EXPECT_EQ(nullptr, library.getFactory());
    EXPECT_EQ("The library \"" + plugin("ThrowingPlugin") +
                  "\" failed in its function createFactory: the camera's licence has expired",
              library.getErrorMessage());
}

TEST(DLLFactory, RefusesALibraryThatMissesASymbolBeforeItIsCalled)
{
    const GreeterLibrary library(plugin("UnresolvedPlugin").c_str());
    EXPECT_EQ(nullptr, library.getFactory());
    EXPECT_THAT(library.getErrorMessage(), StartsWith(cannotBeLoaded(plugin("UnresolvedPlugin"))));
#ifndef _WIN32 // where the system only tells that something is missing
    EXPECT_THAT(library.getErrorMessage(), HasSubstr("missingCameraDriver"));
#endif
}

TEST(DLLFactory, ReportsAFileThatIsNotThere)
{
    const GreeterLibrary library(plugin("NoSuchPlugin").c_str());
    EXPECT_EQ(nullptr, library.getFactory());
    EXPECT_EQ(cannotBeLoaded(plugin("NoSuchPlugin")) + "there is no such file", library.getErrorMessage());
}

TEST(DLLFactory, ReportsALibraryThatTheSystemDoesNotKnow)
{
    const GreeterLibrary library(named("NoSuchPlugin").c_str());
    EXPECT_EQ(nullptr, library.getFactory());
    EXPECT_THAT(library.getErrorMessage(), isReasonOfTheSystem(named("NoSuchPlugin")));
}

TEST(DLLFactory, ReportsAFileThatIsNoLibrary)
{
    const WorkingFolder folder;
    QFile text(QString::fromStdString(folder.path(named("Text"))));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write(QByteArray(1000, 'x'));
    text.close();

    const GreeterLibrary library(folder.path(named("Text")).c_str());

    EXPECT_EQ(nullptr, library.getFactory());
    EXPECT_THAT(library.getErrorMessage(), isReasonOfTheSystem(folder.path(named("Text"))));
}

TEST(DLLFactory, ReportsAnEmptyOrMissingName)
{
    EXPECT_EQ(cannotBeLoaded("") + "no file is named", GreeterLibrary("").getErrorMessage());
    EXPECT_EQ(cannotBeLoaded("") + "no file is named", GreeterLibrary(nullptr).getErrorMessage());
    EXPECT_EQ(nullptr, GreeterLibrary(nullptr).getFactory());
}

TEST(DLLFactory, FindsAFileByARelativePath)
{
    const WorkingFolder folder;
    ASSERT_TRUE(QFile::copy(QString::fromStdString(plugin("GoodPlugin")), QString::fromStdString(named("Relative"))));
    const GreeterLibrary library(named("./Relative").c_str());
    ASSERT_NE(nullptr, library.getFactory()) << library.getErrorMessage();
    EXPECT_EQ("hello", library.getFactory()->greet());
}

TEST(DLLFactory, DoesNotTakeAFileOfASimilarName)
{
    const WorkingFolder folder;
    ASSERT_TRUE(QFile::copy(QString::fromStdString(plugin("GoodPlugin")), QString::fromStdString(named("libCamera"))));
    ASSERT_TRUE(
        QFile::copy(QString::fromStdString(plugin("PlainPlugin")), QString::fromStdString(named("libStranger"))));
    ASSERT_TRUE(QFile::copy(QString::fromStdString(plugin("GoodPlugin")), QString::fromStdString(named("Stranger"))));

    EXPECT_EQ(cannotBeLoaded(named("./Camera")) + "there is no such file",
              GreeterLibrary(named("./Camera").c_str()).getErrorMessage());
    EXPECT_EQ(cannotBeLoaded("./libCamera") + "there is no such file", GreeterLibrary("./libCamera").getErrorMessage());
    const GreeterLibrary library(named("./Stranger").c_str());
    ASSERT_NE(nullptr, library.getFactory()) << library.getErrorMessage();
    EXPECT_EQ("hello", library.getFactory()->greet());
}

TEST(DLLFactory, FindsAFileByItsUtf8Name)
{
    const WorkingFolder folder;
    ASSERT_TRUE(QFile::copy(QString::fromStdString(plugin("GoodPlugin")),
                            QString::fromStdString(folder.path(named("Bohrf\xc3\xbchrung")))));
    const GreeterLibrary library(folder.path(named("Bohrf\xc3\xbchrung")).c_str());
    EXPECT_NE(nullptr, library.getFactory()) << library.getErrorMessage();
}
