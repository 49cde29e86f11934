#pragma once

#include <QFile>
#include <QTemporaryDir>

#include <string>

/// A folder for the files of one test; it goes with everything in it.
class TestFolder
{
public:
    /// The full name of a file in the folder.
    std::string path(const std::string& name) const
    {
        return m_Folder.filePath(QString::fromStdString(name)).toStdString();
    }

    /// Creates or replaces a file and returns its full name.
    std::string write(const std::string& name, const std::string& bytes) const
    {
        QFile file(QString::fromStdString(path(name)));
        file.open(QIODevice::WriteOnly);
        file.write(bytes.data(), static_cast<qint64>(bytes.size()));
        return path(name);
    }

    /// All bytes of a file; "<cannot be opened>" when there is none.
    std::string read(const std::string& name) const
    {
        QFile file(QString::fromStdString(path(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "<cannot be opened>";
    }

private:
    const QTemporaryDir m_Folder;
};
