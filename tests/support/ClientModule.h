#pragma once

#include <tbrCore/Settings.h>

#include <string>

/// The settings that let a CaToolList load the client-interface module from this folder.
inline void useClientModule(const std::string& folder)
{
    const std::string keys = "Tobrel/Navigation/CaToolList/";
    tbr::Settings& settings = tbr::Settings::getInstance();
    settings.set(QString::fromStdString(keys + "ClientInterfaceModulePath"), QString::fromStdString(folder));
    settings.set(QString::fromStdString(keys + "ClientInterfaceModule"), QString("TSClient"));
}
