#include <tbrCore/Settings.h>

#include <tbrCore/IniReader.h>
#include <tbrCore/Log.h>

#include <QFileInfo>
#include <QSettings>

namespace tbr
{

namespace
{

/// Where this user's settings of the program family are, whether or not there is such a file.
QString userFile()
{
    return QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Tobrel"), QStringLiteral("Navigation"))
        .fileName();
}

} // namespace

Settings& Settings::getInstance()
{
    static Settings* const settings = new Settings; // kept to the end: plug-ins may read settings while they unload
    return *settings;
}

Settings::Settings()
{
    const QString named = qEnvironmentVariable("TBR_SETTINGS");
    if (!named.isEmpty())
        load(named);
    else if (QFileInfo::exists(userFile()))
        load(userFile());
}

QString Settings::get(const QString& key, const QString& defaultValue) const
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Values.value(key, defaultValue);
}

std::string Settings::get(const std::string& key, const std::string& defaultValue) const
{
    return get(QString::fromStdString(key), QString::fromStdString(defaultValue)).toStdString();
}

std::string Settings::get(const char* key, const char* defaultValue) const
{
    return get(QString::fromUtf8(key), QString::fromUtf8(defaultValue)).toStdString();
}

bool Settings::isKey(const QString& key) const
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Values.contains(key);
}

bool Settings::isKey(const std::string& key) const
{
    return isKey(QString::fromStdString(key));
}

bool Settings::isKey(const char* key) const
{
    return isKey(QString::fromUtf8(key));
}

bool Settings::load(const QString& iniFile)
{
    IniReader reader;
    if (!reader.read(iniFile))
    {
        TBR_LOG("ERROR") << "The settings file \"" << iniFile.toStdString()
                         << "\" cannot be read: " << reader.problem().toStdString() << std::endl;
        return false;
    }
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Values = reader.values();
    return true;
}

bool Settings::load(const std::string& iniFile)
{
    return load(QString::fromStdString(iniFile));
}

bool Settings::load(const char* iniFile)
{
    return load(QString::fromUtf8(iniFile));
}

void Settings::set(const QString& key, const QString& value)
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Values.insert(key, value);
}

void Settings::set(const std::string& key, const std::string& value)
{
    set(QString::fromStdString(key), QString::fromStdString(value));
}

void Settings::set(const char* key, const char* value)
{
    set(QString::fromUtf8(key), QString::fromUtf8(value));
}

} // namespace tbr
