#include "ProgramRun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

// The program is run as a user does, with measurements so short that their figures mean nothing: what is looked at is
// the form of what it prints.

namespace
{

const QStringList SHORTLY = {"--rounds", "1", "--seconds", "0.01"};
const QStringList MEASURES = {"fit",           "update", "record",    "tick",        "recording",   "replay-start",
                              "replay-memory", "read",   "lookup-10", "lookup-1000", "lookup-ratio"};

} // namespace

TEST(camera_side, PrintsEachMeasureInARowOfItsTable)
{
    const Ended ended = run(SHORTLY);
    EXPECT_EQ(ended.status, 0) << ended.errors.toStdString();
    const QStringList lines = ended.output.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 1 + MEASURES.size()) << ended.output.toStdString();
    EXPECT_TRUE(lines[0].startsWith("64 tools with 4 markers each, 1 rounds of 0.01 s, build: "));
    for (int i = 0; i < MEASURES.size(); ++i)
        EXPECT_TRUE(lines[i + 1].startsWith("  " + MEASURES[i] + " ")) << lines[i + 1].toStdString();
}

TEST(camera_side, PrintsJsonOfTheMeasuresThatAreWanted)
{
    const Ended ended = run(SHORTLY + QStringList{"--json", "--measure", "update", "--measure", "read"});
    EXPECT_EQ(ended.status, 0) << ended.errors.toStdString();
    const QJsonObject report = QJsonDocument::fromJson(ended.output.toUtf8()).object();
    EXPECT_EQ(report["run"]["tools"].toInt(), 64);
    const QJsonArray measures = report["measures"].toArray();
    ASSERT_EQ(measures.size(), 2) << ended.output.toStdString();
    EXPECT_EQ(measures[0]["measure"].toString(), "update");
    EXPECT_EQ(measures[1]["measure"].toString(), "read");
    for (const QJsonValue& measure : measures)
    {
        EXPECT_EQ(measure["unit"].toString(), "ns per tool");
        EXPECT_GT(measure["median"].toDouble(), 0.0);
    }
}

TEST(camera_side, RefusesWhatItCannotMeasure)
{
    for (const QStringList& wrong :
         {QStringList{"--measure", "sound"}, QStringList{"--seconds", "0"}, QStringList{"--rounds", "none"}})
    {
        const Ended ended = run(wrong);
        EXPECT_EQ(ended.status, 2);
        EXPECT_TRUE(ended.errors.startsWith("camera_side: "));
        EXPECT_EQ(ended.output, "");
    }
}
