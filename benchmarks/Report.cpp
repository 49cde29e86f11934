#include "Report.h"

#include "ProcessMeasure.h"
#include "Statistics.h"

#include <QDate>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStringList>
#include <QSysInfo>
#include <QThread>

namespace
{

using statistics::Summary;

QString numberText(double value)
{
    return QString::number(value, 'f', value < 10.0 ? 2 : value < 1000.0 ? 1 : 0);
}

QString rangeText(const Summary& summary)
{
    return QString("%1..%2").arg(summary.lowest, 0, 'f', 3).arg(summary.highest, 0, 'f', 3);
}

QString row(const QString& figure, const QString& unit, const QString& toolserver, const QString& bare,
            const QString& ratio, const QString& range)
{
    const QString line = QString("  %1 %2 %3 %4 %5  %6")
                             .arg(figure, -12)
                             .arg(unit, -12)
                             .arg(toolserver, 12)
                             .arg(bare, 12)
                             .arg(ratio, 8)
                             .arg(range);
    return QString(line).remove(QRegularExpression(" +$")) + "\n";
}

QString rowOf(const Figure& figure)
{
    const QString toolserver = numberText(statistics::summarize(figure.toolserver).median);
    if (figure.bare.empty())
        return row(figure.name, figure.unit, toolserver, "-", "-", "");
    const Summary ratio = statistics::summarize(statistics::ratios(figure.toolserver, figure.bare));
    return row(figure.name, figure.unit, toolserver, numberText(statistics::summarize(figure.bare).median),
               QString::number(ratio.median, 'f', 3), rangeText(ratio));
}

QJsonValue toJson(const std::vector<double>& values)
{
    if (values.empty())
        return QJsonValue::Null;
    const Summary summary = statistics::summarize(values);
    return QJsonObject{{"median", summary.median}, {"lowest", summary.lowest}, {"highest", summary.highest}};
}

QJsonObject toJson(const Figure& figure)
{
    const bool isCompared = !figure.bare.empty();
    return {{"figure", figure.name},
            {"unit", figure.unit},
            {"toolserver", toJson(figure.toolserver)},
            {"bare", toJson(figure.bare)},
            {"ratio", toJson(isCompared ? statistics::ratios(figure.toolserver, figure.bare) : std::vector<double>())}};
}

QJsonObject toJson(const MeasureResult& result)
{
    QJsonArray figures;
    for (const Figure& figure : result.figures)
        figures.append(toJson(figure));
    return {{"measure", result.measure}, {"description", result.description}, {"figures", figures}};
}

} // namespace

Report::Report(const MeasureSettings& settings, std::optional<int> processor)
{
    const QString date = QDate::currentDate().toString(Qt::ISODate);
    const QString kernel =
        QSysInfo::kernelType() + " " + QSysInfo::kernelVersion() + " " + QSysInfo::currentCpuArchitecture();
    const QString build = QStringList({TBR_BUILD_KIND, TBR_BUILD_SANITIZERS}).join(" ").trimmed();
    const std::optional<double> load = processMeasure::loadAverage();
    m_Facts = {{"date", date, date},
               {"kernel", kernel, kernel},
               {"processors", QThread::idealThreadCount(), QString("%1 processors").arg(QThread::idealThreadCount())},
               {"pinnedTo", processor ? QVariant(*processor) : QVariant(),
                processor ? QString("all on processor %1").arg(*processor) : QString("not pinned")},
               {"loadAverage", load ? QVariant(*load) : QVariant(),
                load ? QString("load average %1 at the start").arg(*load, 0, 'f', 2) : QString("load average unknown")},
               {"build", build, build + " build"},
               {"pairs", settings.pairs, QString("pairs: %1").arg(settings.pairs)},
               {"seconds", settings.seconds, QString("each %1 s").arg(settings.seconds)}};
}

void Report::add(const MeasureResult& result)
{
    m_Results.push_back(result);
}

QString Report::heading() const
{
    QStringList facts;
    for (const Fact& fact : m_Facts)
        facts << fact.text;
    return facts.join(", ") + "\n";
}

QString Report::table(const MeasureResult& result)
{
    QString text = "\n" + result.measure + " (" + result.description + ")\n";
    text += row("", "", "toolserver", "bare", "ratio", "lowest..highest");
    for (const Figure& figure : result.figures)
        text += rowOf(figure);
    if (result.figures.empty())
        text += "  cannot be measured on this system\n";
    return text;
}

QByteArray Report::json() const
{
    QJsonObject facts;
    for (const Fact& fact : m_Facts)
        facts.insert(fact.key, QJsonValue::fromVariant(fact.value));
    QJsonArray measures;
    for (const MeasureResult& result : m_Results)
        measures.append(toJson(result));
    return QJsonDocument(QJsonObject{{"run", facts}, {"measures", measures}}).toJson();
}
