#pragma once

#include <tbrCore/Export.h>

#include <QHash>
#include <QString>

#include <mutex>
#include <string>

namespace tbr
{

/// The process-wide key/value settings, such as "Tobrel/Navigation/CaToolList/ClientInterfaceModule".
///
/// They are read at first use from the INI file that the environment variable TBR_SETTINGS names, else, when that is
/// not set, from the user's INI file of organisation "Tobrel", application "Navigation", if there is one. A file that
/// cannot be read is logged, and leaves the settings empty. In an INI file the first part of a key is the section and
/// the others are joined by backslashes: [Tobrel] Navigation\CaToolList\ClientInterfaceModule=TSClient; IniReader tells
/// the rules. Nothing is ever written back.
///
/// Text is UTF-8 where it is not a QString; a null pointer is an empty text.
/// Thread: every operation may be called from any thread.
class TBR_CORE_EXPORT Settings
{
public:
    static Settings& getInstance();

    /// The value of `key`, or `defaultValue` when the key is not set.
    QString get(const QString& key, const QString& defaultValue) const;
    std::string get(const std::string& key, const std::string& defaultValue) const;
    std::string get(const char* key, const char* defaultValue) const;

    bool isKey(const QString& key) const;
    bool isKey(const std::string& key) const;
    bool isKey(const char* key) const;

    /// Replaces all settings, also those made by set(), by those of an INI file. Returns false, changes nothing and
    /// logs why, when the file cannot be read or is not a well-formed INI file.
    bool load(const QString& iniFile);
    bool load(const std::string& iniFile);
    bool load(const char* iniFile);

    /// Sets one value in memory; the file is not touched.
    void set(const QString& key, const QString& value);
    void set(const std::string& key, const std::string& value);
    void set(const char* key, const char* value);

private:
    Settings();

    mutable std::mutex m_Mutex; // guards m_Values
    QHash<QString, QString> m_Values;
};

} // namespace tbr
