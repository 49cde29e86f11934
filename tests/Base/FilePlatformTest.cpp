#include <tbrBase/FilePlatform.h>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <cerrno>
#include <memory>

namespace platform = tbr::platform;

namespace
{

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
using Names = std::vector<std::string>;

class FilePlatform : public testing::Test
{
protected:
    std::string path(const std::string& name) const
    {
        return m_Folder.filePath(QString::fromStdString(name)).toStdString();
    }
    std::string folder() const { return m_Folder.path().toStdString(); }

    File open(const std::string& name, const char* mode) const
    {
        return File(platform::openFile(path(name), mode), &std::fclose);
    }

    void write(const std::string& name, const QByteArray& bytes) const
    {
        QFile file(QString::fromStdString(path(name)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(bytes.size(), file.write(bytes));
    }

    QByteArray contents(const std::string& name) const
    {
        QFile file(QString::fromStdString(path(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<cannot be opened>");
    }

private:
    const QTemporaryDir m_Folder;
};

} // namespace

TEST_F(FilePlatform, WritesEveryByteAsItIs)
{
    const QByteArray bytes("\r\n\n\0\x1a\xff", 6);
    {
        const File file = open("record", "w");
        ASSERT_TRUE(file);
        ASSERT_EQ(6u, std::fwrite(bytes.constData(), 1, 6, file.get()));
    }
    EXPECT_EQ(bytes, contents("record"));
}

TEST_F(FilePlatform, ReadsWhatIsThereAndUpdatesItInPlace)
{
    write("record", "abcdef");
    const File file = open("record", "r+");
    ASSERT_TRUE(file);
    char bytes[3] = {};
    ASSERT_EQ(3u, std::fread(bytes, 1, 3, file.get()));
    EXPECT_EQ("abc", std::string(bytes, 3));
    ASSERT_TRUE(platform::seekFile(file.get(), 1, SEEK_SET));
    std::fputc('X', file.get());
    std::fflush(file.get());
    EXPECT_EQ("aXcdef", contents("record"));
}

TEST_F(FilePlatform, OpensAFileByItsUtf8Name)
{
    ASSERT_TRUE(open("Bohrf\xc3\xbchrung", "w"));
    EXPECT_TRUE(QDir(QString::fromStdString(folder())).exists(QString::fromUtf8("Bohrf\xc3\xbchrung")));
}

TEST_F(FilePlatform, ReturnsNullAndAReasonForAFileThatIsNotThere)
{
    errno = 0;
    EXPECT_EQ(nullptr, platform::openFile(path("missing"), "r"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(nullptr, platform::openFile(path("no/such/folder"), "w"));
    EXPECT_EQ(nullptr, platform::openFile("", "r"));
}

#ifdef _WIN32
TEST_F(FilePlatform, KeepsOpenFilesFromChildProcesses)
{
    File file = open("secret", "w+");
    ASSERT_TRUE(file);
    QProcess child;
    child.start(QCoreApplication::applicationDirPath() + "/ProcessPlatformProbe", {"wait"});
    ASSERT_TRUE(child.waitForStarted(-1));

    EXPECT_FALSE(QFile::remove(QString::fromStdString(path("secret")))) << "an open file cannot be removed here";
    file.reset();
    EXPECT_TRUE(QFile::remove(QString::fromStdString(path("secret")))) << "the child has it open";
    child.closeWriteChannel();
    EXPECT_TRUE(child.waitForFinished(-1));
}
#else
TEST_F(FilePlatform, KeepsOpenFilesFromChildProcesses)
{
    if (!QDir("/proc/self/fd").exists())
        GTEST_SKIP() << "this system does not show a process's open files";
    const File file = open("secret", "w+");
    ASSERT_TRUE(file);

    QProcess child;
    child.start("ls", {"-l", "/proc/self/fd"});
    ASSERT_TRUE(child.waitForFinished(-1));
    const QByteArray listing = child.readAllStandardOutput();
    EXPECT_TRUE(listing.contains("/proc/")) << listing.constData(); // it lists itself, so it lists
    EXPECT_FALSE(listing.contains("secret")) << listing.constData();
}
#endif

TEST_F(FilePlatform, SeeksAndTellsBeyond4GiB)
{
    const std::int64_t far = 5LL * 1024 * 1024 * 1024;
    const File file = open("sparse", "w+");
    ASSERT_TRUE(file);
    ASSERT_TRUE(platform::seekFile(file.get(), far, SEEK_SET));
    EXPECT_EQ(far, platform::tellFile(file.get()));
    ASSERT_TRUE(platform::seekFile(file.get(), -1, SEEK_CUR));
    EXPECT_EQ(far - 1, platform::tellFile(file.get()));
    EXPECT_FALSE(platform::seekFile(file.get(), -1, SEEK_SET));
    EXPECT_EQ(far - 1, platform::tellFile(file.get()));
}

TEST_F(FilePlatform, CutsAFileBehindWhatWasJustWritten)
{
    const File file = open("log", "w+");
    ASSERT_TRUE(file);
    std::fputs("0123456789", file.get()); // still in the buffer
    ASSERT_TRUE(platform::truncateFile(file.get(), 4));
    EXPECT_EQ("0123", contents("log"));
    EXPECT_EQ(10, platform::tellFile(file.get()));
}

TEST_F(FilePlatform, ReportsAFileThatCannotBeCut)
{
    write("log", "0123");
    const File file = open("log", "r");
    ASSERT_TRUE(file);
    EXPECT_FALSE(platform::truncateFile(file.get(), 2));
    EXPECT_EQ("0123", contents("log"));
}

TEST_F(FilePlatform, ListsTheFilesOfAnExtensionInOrder)
{
    for (const char* name : {"b.so", "a.so", "C.so", "c.sox", "cso", ".so", "a.so.1", "\xc3\xa4.so"})
        write(name, "");
    ASSERT_TRUE(QDir(QString::fromStdString(folder())).mkdir("folder.so"));

    EXPECT_EQ((Names{"C.so", "a.so", "b.so", "\xc3\xa4.so"}), platform::listFiles(folder(), ".so"));
    EXPECT_EQ((Names{"C.so", "a.so", "b.so", "\xc3\xa4.so"}), platform::listFiles(folder() + "/", ".so"));
    EXPECT_EQ(Names{}, platform::listFiles(folder(), ".dll"));
}

TEST_F(FilePlatform, ListsNothingInAFolderThatIsNotThere)
{
    write("a.so", "");
    EXPECT_EQ(Names{}, platform::listFiles(path("missing"), ".so"));
    EXPECT_EQ(Names{}, platform::listFiles(path("a.so"), ".so"));
    EXPECT_EQ(Names{}, platform::listFiles("", ".so"));
}
