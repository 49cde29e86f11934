#include "LoadOptions.h"
#include "MeasureCatalogue.h"
#include "ProcessMeasure.h"
#include "Report.h"

#include <tbrBase/ProcessPlatform.h>

#include <QCoreApplication>

#include <exception>
#include <iostream>

namespace
{

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_WRONG_USAGE = 2;

void print(const QString& text)
{
    std::cout << text.toStdString() << std::flush;
}

int list(const Measures& measures, const MeasureSettings& settings)
{
    for (const auto& measure : measures)
        print(QString("%1 %2  %3\n")
                  .arg(measure->isQuick() ? "*" : " ")
                  .arg(measure->name(), -18)
                  .arg(measure->description(settings)));
    return EXIT_DONE;
}

int takeMeasures(const Measures& measures, const LoadOptions& options)
{
    const MeasureSettings& settings = options.settings;
    Report report(settings, settings.isPinned ? processMeasure::pinToOneProcessor() : std::optional<int>());
    if (!options.isJson)
        print(report.heading());
    for (const auto& measure : measures)
    {
        if (!options.measures.contains(measure->name()))
            continue;
        const MeasureResult result{measure->name(), measure->description(settings), measure->run(settings)};
        report.add(result);
        if (!options.isJson)
            print(Report::table(result));
    }
    if (options.isJson)
        print(QString::fromUtf8(report.json()));
    return EXIT_DONE;
}

int run(const Measures& measures, const LoadOptions& options)
{
    switch (options.action)
    {
    case LoadOptions::Action::FAIL:
        std::cerr << options.text.toStdString() << std::flush;
        return EXIT_WRONG_USAGE;
    case LoadOptions::Action::SHOW_TEXT:
        print(options.text);
        return EXIT_DONE;
    case LoadOptions::Action::LIST_MEASURES:
        return list(measures, options.settings);
    case LoadOptions::Action::SERVE_BARE:
        return bareServer::run(options.tools, options.sends);
    case LoadOptions::Action::MEASURE:
        break;
    }
    return takeMeasures(measures, options);
}

} // namespace

int main(int argc, char** argv)
{
    tbr::platform::survivePeersThatClose();
    QCoreApplication application(argc, argv);
    const Measures measures = allMeasures();
    try
    {
        return run(measures, LoadOptions::parse(application.arguments(), application.applicationDirPath(), measures));
    }
    catch (const std::exception& error)
    {
        std::cerr << "toolserver_load: " << error.what() << std::endl;
        return EXIT_FAILED;
    }
}
