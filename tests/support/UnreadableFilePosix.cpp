#include <support/UnreadableFile.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

struct UnreadableFile::Former
{
    std::string path;
    mode_t permissions;
    uid_t user;
};

/// An administrator, who may read every file, is somebody else meanwhile.
UnreadableFile::UnreadableFile(const std::string& path) : m_Former(std::make_unique<Former>())
{
    constexpr uid_t NOBODY = 65534;
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    *m_Former = {path, status.st_mode & 07777, ::geteuid()};
    EXPECT_EQ(::chmod(path.c_str(), 0), 0);
    const bool mayReadAll = m_Former->user == 0;
    EXPECT_EQ(mayReadAll ? ::seteuid(NOBODY) : 0, 0);
}

UnreadableFile::~UnreadableFile()
{
    EXPECT_EQ(::seteuid(m_Former->user), 0);
    EXPECT_EQ(::chmod(m_Former->path.c_str(), m_Former->permissions), 0);
}
