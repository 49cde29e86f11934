#include <tbrCore/Settings.h>

#include <support/LogCapture.h>
#include <support/UnreadableFile.h>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <thread>
#include <type_traits>

namespace
{

const char* const MODULE = "Tobrel/Navigation/CaToolList/ClientInterfaceModule";

/// A folder of settings files, and this process's settings, read anew from one of them.
class Settings : public testing::Test
{
protected:
    QString path(const QString& name) const { return m_Folder.filePath(name); }

    QString write(const QString& name, const QByteArray& text) const
    {
        QDir(m_Folder.path()).mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return path(name);
    }

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<cannot be opened>");
    }

    tbr::Settings& settings = tbr::Settings::getInstance();

private:
    const QTemporaryDir m_Folder;
};

/// What a process in an environment of its own reads at first use.
class FreshProcess
{
public:
    FreshProcess() : m_Environment(QProcessEnvironment::systemEnvironment())
    {
        m_Environment.remove("TBR_SETTINGS");
        m_Environment.insert("XDG_CONFIG_HOME", m_Home.path());
        m_Environment.insert("HOME", m_Home.path());
    }

    void set(const QString& variable, const QString& value) { m_Environment.insert(variable, value); }

    std::string get(const char* key)
    {
        QProcess probe;
        probe.setProcessEnvironment(m_Environment);
        probe.start(QCoreApplication::applicationDirPath() + "/SettingsProbe", {key});
        probe.waitForFinished(-1);
        log = probe.readAllStandardError().toStdString();
        return probe.readAllStandardOutput().trimmed().toStdString();
    }

    std::string log;

private:
    const QTemporaryDir m_Home;
    QProcessEnvironment m_Environment;
};

/// The settings file of the user whom a fresh process belongs to, while it lives.
class UsersFile
{
public:
    UsersFile(FreshProcess& process, const QByteArray& text)
    {
#ifdef _WIN32 // where the environment does not tell whose settings they are: this user has none of his own meanwhile
        m_Path = QSettings(QSettings::IniFormat, QSettings::UserScope, "Tobrel", "Navigation").fileName();
        EXPECT_FALSE(QFile::exists(m_Path)) << "would be overwritten: " << m_Path.toStdString();
        if (QFile::exists(m_Path))
            return;
#else
        m_Path = m_Folder.filePath("Tobrel/Navigation.ini");
        process.set("XDG_CONFIG_HOME", m_Folder.path());
#endif
        Q_UNUSED(process)
        QDir().mkpath(QFileInfo(m_Path).path());
        QFile file(m_Path);
        m_IsMine = file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
        EXPECT_TRUE(m_IsMine);
    }
    ~UsersFile()
    {
        if (m_IsMine)
            QFile::remove(m_Path);
    }
    UsersFile(const UsersFile&) = delete;
    UsersFile& operator=(const UsersFile&) = delete;

private:
    const QTemporaryDir m_Folder;
    QString m_Path;
    bool m_IsMine = false;
};

} // namespace

TEST_F(Settings, ReadsTheFileThatTheEnvironmentNames)
{
    FreshProcess process;
    process.set("TBR_SETTINGS",
                write("named.ini", "[Tobrel]\nNavigation\\CaToolList\\ClientInterfaceModule=TSClient\n"));
    EXPECT_EQ("TSClient", process.get(MODULE));
    EXPECT_EQ("<not set>", process.get("Tobrel/Navigation/CaToolList"));
    EXPECT_EQ("", process.log);
}

TEST_F(Settings, ReadsTheUsersFileWhenTheEnvironmentNamesNone)
{
    FreshProcess process;
    const UsersFile file(process, "[Tobrel]\nNavigation\\CaToolList\\ClientInterfaceModule=Mine\n");
    EXPECT_EQ("Mine", process.get(MODULE));

    process.set("TBR_SETTINGS", "");
    EXPECT_EQ("Mine", process.get(MODULE));

    process.set("TBR_SETTINGS", write("named.ini", "[Tobrel]\nNavigation\\CaToolList\\ClientInterfaceModule=Named\n"));
    EXPECT_EQ("Named", process.get(MODULE));
    EXPECT_EQ("", process.log);
}

TEST_F(Settings, ReadsTheFileOfThisApplicationOnly)
{
    FreshProcess process;
    write("Tobrel.ini", "[Tobrel]\nNavigation\\CaToolList\\ClientInterfaceModule=OfTheOrganisation\n");
    process.set("XDG_CONFIG_HOME", path(""));
    EXPECT_EQ("<not set>", process.get(MODULE));
}

TEST_F(Settings, AreEmptyWithoutAFile)
{
    FreshProcess process;
    EXPECT_EQ("<not set>", process.get(MODULE));
    EXPECT_EQ("", process.log);
}

TEST_F(Settings, ReportTheNamedFileThatCannotBeRead)
{
    FreshProcess process;
    const UsersFile file(process, "[Tobrel]\nNavigation\\CaToolList\\ClientInterfaceModule=Mine\n");
    process.set("TBR_SETTINGS", path("missing.ini"));
    EXPECT_EQ("<not set>", process.get(MODULE)); // rather than another file's values
    const std::string text =
        "The settings file \"" + path("missing.ini").toStdString() + "\" cannot be read: there is no such file";
    EXPECT_NE(std::string::npos, process.log.find(text)) << process.log;
    EXPECT_NE(std::string::npos, process.log.find(" ERROR ")) << process.log;
}

TEST_F(Settings, ReportTheUsersFileThatIsMalformed)
{
    FreshProcess process;
    const UsersFile file(process, "a=1\n[Tobrel\n");
    EXPECT_EQ("<not set>", process.get("a"));
    EXPECT_NE(std::string::npos,
              process.log.find("Navigation.ini\" cannot be read: line 2 is not of the form [section]"))
        << process.log;
}

TEST_F(Settings, GiveTheDefaultForAKeyThatIsNotSet)
{
    ASSERT_TRUE(settings.load(write("a.ini", "[Tobrel]\na=\n")));
    EXPECT_EQ("[NOT YET DEFINED]", settings.get(MODULE, "[NOT YET DEFINED]"));
    EXPECT_FALSE(settings.isKey(MODULE));
    EXPECT_FALSE(settings.isKey("Tobrel"));
    EXPECT_EQ("", settings.get("Tobrel/a", "default")); // set, to nothing
    EXPECT_TRUE(settings.isKey("Tobrel/a"));
}

TEST_F(Settings, SpeakEveryKindOfText)
{
    ASSERT_TRUE(settings.load(write("a.ini", "[Tobrel]\na=Bohrf\xc3\xbchrung\n")));
    const QString qKey("Tobrel/a"), qText = QString::fromUtf8("Bohrf\xc3\xbchrung");
    const std::string key("Tobrel/a"), text("Bohrf\xc3\xbchrung");

    EXPECT_EQ(qText, settings.get(qKey, qKey));
    EXPECT_EQ(qText, settings.get(qKey, "x"));
    EXPECT_EQ(qText, settings.get("Tobrel/a", qKey));
    EXPECT_EQ(qText, settings.get(QStringLiteral("Tobrel/a"), QString()));
    EXPECT_EQ(text, settings.get(key, key));
    EXPECT_EQ(text, settings.get(key, "x"));
    EXPECT_EQ(text, settings.get("Tobrel/a", key));
    EXPECT_EQ(text, settings.get("Tobrel/a", "x"));
    EXPECT_TRUE((std::is_same<QString, decltype(settings.get(qKey, "x"))>::value));
    EXPECT_TRUE((std::is_same<std::string, decltype(settings.get(key, "x"))>::value));
    EXPECT_TRUE((std::is_same<std::string, decltype(settings.get("Tobrel/a", "x"))>::value));
    EXPECT_TRUE(settings.isKey(qKey) && settings.isKey(key) && settings.isKey("Tobrel/a"));

    EXPECT_EQ(qText, settings.get(QString("missing"), qText));
    EXPECT_EQ(text, settings.get(std::string("missing"), text));
    EXPECT_EQ(text, settings.get("missing", text.c_str()));
}

TEST_F(Settings, TakeANullPointerForAnEmptyText)
{
    const char* const nothing = nullptr;
    settings.set("null", nothing);
    EXPECT_EQ("", settings.get("null", "default"));
    EXPECT_EQ("", settings.get("missing", nothing));
    EXPECT_FALSE(settings.isKey(nothing));
}

TEST_F(Settings, KeepValuesAsTheyAreWritten)
{
    ASSERT_TRUE(settings.load(write("a.ini", "[Tobrel]\n"
                                             "comma=/opt/a,b/modules\n"
                                             "spaces= Drill, left side \n"
                                             "percent=SurgicalTool.%1 100%\n"
                                             "utf8=Bohrf\xc3\xbchrung\n")));
    EXPECT_EQ("/opt/a,b/modules", settings.get("Tobrel/comma", ""));
    EXPECT_EQ("Drill, left side", settings.get("Tobrel/spaces", ""));
    EXPECT_EQ("SurgicalTool.%1 100%", settings.get("Tobrel/percent", ""));
    EXPECT_EQ(QString::fromUtf8("Bohrf\xc3\xbchrung"), settings.get(QString("Tobrel/utf8"), QString()));
}

TEST_F(Settings, AreReplacedAsAWholeByLoading)
{
    settings.set("set before", "x");
    ASSERT_TRUE(settings.load(write("a.ini", "[Tobrel]\na=1\nb=2\n")));
    EXPECT_FALSE(settings.isKey("set before"));

    ASSERT_TRUE(settings.load(write("b.ini", "[Tobrel]\nb=3\n").toStdString()));
    EXPECT_FALSE(settings.isKey("Tobrel/a"));
    EXPECT_EQ("3", settings.get("Tobrel/b", ""));
}

TEST_F(Settings, SeeAFileThatWasRewrittenAMomentAgo)
{
    ASSERT_TRUE(settings.load(write("a.ini", "a=1\n")));
    ASSERT_TRUE(settings.load(write("a.ini", "a=2\n"))); // as long as before, and maybe in the same tick of its clock
    EXPECT_EQ("2", settings.get("a", ""));
}

TEST_F(Settings, StayAsTheyAreWhenAFileCannotBeLoaded)
{
    ASSERT_TRUE(settings.load(write("good.ini", "[Tobrel]\na=1\n")));
    LogCapture log;
    const QString malformed = write("malformed.ini", "[Tobrel]\na=2\nnonsense\n");

    EXPECT_FALSE(settings.load(malformed));
    EXPECT_FALSE(settings.load(path("missing.ini").toUtf8().constData()));
    EXPECT_FALSE(settings.load(path("")));
    EXPECT_FALSE(settings.load(""));

    EXPECT_EQ("1", settings.get("Tobrel/a", ""));
    EXPECT_EQ(4u, log.entries().size());
    EXPECT_EQ(1, log.count("ERROR", "The settings file \"" + malformed.toStdString() +
                                        "\" cannot be read: line 3 is not of the form key=value\n"));
}

TEST_F(Settings, StayAsTheyAreWhenAFileMayNotBeRead)
{
    const QString file = write("secret.ini", "a=1\n");
    const UnreadableFile unreadable(file.toStdString());
    LogCapture log;
    settings.set("a", "0");
    EXPECT_FALSE(settings.load(file));
    EXPECT_EQ("0", settings.get("a", ""));
    EXPECT_TRUE(log.contains("ERROR", file.toStdString()));
}

TEST_F(Settings, NeverWriteBackWhatIsSet)
{
    const QByteArray text = "; by hand\r\n[Tobrel]\r\nb = 2\r\na=1";
    const QString file = write("a.ini", text);
    ASSERT_TRUE(settings.load(file));
    settings.set("Tobrel/a", "changed");
    settings.set(QString("Tobrel/c"), QString("new"));
    settings.set(std::string("Tobrel/d"), std::string("new"));
    EXPECT_EQ("changed", settings.get("Tobrel/a", ""));
    EXPECT_EQ("2", settings.get("Tobrel/b", ""));
    EXPECT_TRUE(settings.isKey("Tobrel/c") && settings.isKey("Tobrel/d"));

    EXPECT_EQ(text, contents(file));
    EXPECT_EQ(QStringList("a.ini"), QDir(path("")).entryList(QDir::Files | QDir::Hidden));
    ASSERT_TRUE(settings.load(file));
    EXPECT_EQ("1", settings.get("Tobrel/a", ""));
    EXPECT_FALSE(settings.isKey("Tobrel/c"));
}

TEST_F(Settings, AreUsedByManyThreadsAtOnce)
{
    const QString file = write("a.ini", "a=1\n");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < 50; ++i)
                {
                    settings.set("thread", std::to_string(t).c_str());
                    settings.get("thread", "none");
                    EXPECT_TRUE(settings.load(file));
                    EXPECT_EQ("1", settings.get("a", ""));
                }
            });
    for (std::thread& thread : threads)
        thread.join();
}
