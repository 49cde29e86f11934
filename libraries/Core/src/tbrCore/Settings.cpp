#include <tbrCore/Settings.h>

#include <tbrCore/Log.h>

#include <QFileInfo>
#include <QSettings>
#include <QStringList>

#include <utility>

namespace tbr
{

namespace
{

/// Reads every key of `source`; false when it is not well-formed.
bool readAll(QSettings& source, QHash<QString, QString>& values)
{
    const QStringList keys = source.allKeys();
    for (const QString& key : keys)
        values.insert(key, source.value(key).toStringList().join(QStringLiteral(", ")));
    return source.status() == QSettings::NoError;
}

bool readFile(const QString& path, QHash<QString, QString>& values)
{
    const QFileInfo file(path);
    if (!file.isFile() || !file.isReadable())
        return false;
    QSettings source(path, QSettings::IniFormat);
    source.setIniCodec("UTF-8");
    return readAll(source, values);
}

} // namespace

Settings& Settings::getInstance()
{
    static Settings* const settings = new Settings; // kept to the end: plug-ins may read settings while they unload
    return *settings;
}

Settings::Settings()
{
    if (qEnvironmentVariableIsSet("TBR_SETTINGS"))
    {
        const QString path = qEnvironmentVariable("TBR_SETTINGS");
        if (!load(path))
            TBR_LOG("ERROR") << "The settings file named by TBR_SETTINGS cannot be read: " << path.toStdString()
                             << std::endl;
        return;
    }
    QSettings user(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Tobrel"), QStringLiteral("Navigation"));
    user.setFallbacksEnabled(false);
    user.setIniCodec("UTF-8");
    if (!readAll(user, m_Values))
        TBR_LOG("ERROR") << "The user's settings file is not well-formed: " << user.fileName().toStdString()
                         << std::endl;
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
    return get(std::string(key), std::string(defaultValue));
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
    QHash<QString, QString> values;
    if (!readFile(iniFile, values))
        return false;
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Values = std::move(values);
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
