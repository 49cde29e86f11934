#include <support/UnreadableFile.h>

#include <QString>

#include <gtest/gtest.h>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

struct UnreadableFile::Former
{
    HANDLE file;
};

/// A file that somebody has opened without sharing it opens for nobody else.
UnreadableFile::UnreadableFile(const std::string& path) : m_Former(std::make_unique<Former>())
{
    const std::wstring name = QString::fromStdString(path).toStdWString();
    m_Former->file = CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(m_Former->file, INVALID_HANDLE_VALUE) << path;
}

UnreadableFile::~UnreadableFile()
{
    CloseHandle(m_Former->file);
}
