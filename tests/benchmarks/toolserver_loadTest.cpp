#include "ProgramRun.h"

#include <MeasuredServer.h>

#include <support/PlainSocket.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>

#include <gtest/gtest.h>

// The program is run as a user does, with measurements so short that their figures mean nothing: what is looked at is
// the form of what it prints.

namespace
{

QStringList shortly(QStringList measures)
{
    QStringList arguments = {"--pairs", "1", "--seconds", "0.05", "--sessions", "10"};
    for (const QString& measure : measures)
        arguments << "--measure" << measure;
    return arguments;
}

/// The names of a measure's figures in a run's JSON, each behind whether it is compared with the bare server.
QStringList figuresOf(const QJsonObject& measure)
{
    QStringList names;
    for (const QJsonValue& figure : measure["figures"].toArray())
    {
        EXPECT_GT(figure["toolserver"]["median"].toDouble(), 0.0);
        EXPECT_EQ(figure["bare"].isNull(), figure["ratio"].isNull());
        names << (figure["bare"].isNull() ? "alone " : "ratio ") + figure["figure"].toString();
    }
    return names;
}

bool hasLine(const QString& text, const QString& pattern)
{
    return QRegularExpression("^" + pattern + "$", QRegularExpression::MultilineOption).match(text).hasMatch();
}

} // namespace

TEST(toolserver_load, PrintsATableOfEachMeasure)
{
    const Ended ended = run(shortly({"pose-8", "age-250"}));

    EXPECT_EQ(ended.status, 0) << ended.errors.toStdString();
    EXPECT_TRUE(hasLine(ended.output, R"(\d{4}-\d\d-\d\d, .*\d+ processors, .*pairs: 1, each 0.05 s)"));
    EXPECT_TRUE(hasLine(ended.output, R"(pose-8 \(8 clients: the pose of one tool\))"));
    EXPECT_TRUE(hasLine(ended.output, R"( +toolserver +bare +ratio +lowest\.\.highest)"));
    EXPECT_TRUE(hasLine(ended.output, R"(  rate +1/s +[\d.]+ +[\d.]+ +[\d.]+ +[\d.]+\.\.[\d.]+)"));
    for (const char* figure : {"p50", "p99", "p99.9"})
        EXPECT_TRUE(hasLine(ended.output, QString("  %1 +us +[\\d.]+ +[\\d.]+ +[\\d.]+ +[\\d.]+").arg(figure)))
            << figure;
    EXPECT_TRUE(hasLine(ended.output, R"(  age p50 +us +[\d.]+ +- +-)"));
}

TEST(toolserver_load, PrintsJsonThatAProgramCanRead)
{
    const Ended ended =
        run(shortly({"all-tools-16", "pipelined", "paced", "memory", "age-1000"}) + QStringList{"--json"});

    EXPECT_EQ(ended.status, 0) << ended.errors.toStdString();
    const QJsonDocument document = QJsonDocument::fromJson(ended.output.toUtf8());
    EXPECT_EQ(document["run"]["pairs"].toInt(), 1);
    EXPECT_EQ(document["run"]["seconds"].toDouble(), 0.05);
    const QJsonArray measures = document["measures"].toArray();
    ASSERT_EQ(measures.size(), 5);
    EXPECT_EQ(measures[0].toObject()["measure"].toString(), "all-tools-16");
    EXPECT_EQ(figuresOf(measures[0].toObject()).mid(0, 4),
              (QStringList{"ratio rate", "ratio p50", "ratio p99", "ratio p99.9"}));
    EXPECT_EQ(figuresOf(measures[2].toObject()).mid(0, 3), (QStringList{"ratio p50", "ratio p99", "ratio p99.9"}));
    EXPECT_EQ(figuresOf(measures[4].toObject()),
              (QStringList{"alone age p50", "alone age p99", "alone first p50", "alone first p99"}));
}

#ifdef __linux__
TEST(toolserver_load, TellsProcessorTimeAndMemoryOfTheServers)
{
    const Ended ended = run(shortly({"pose-1", "memory"}) + QStringList{"--json"});

    const QJsonDocument document = QJsonDocument::fromJson(ended.output.toUtf8());
    EXPECT_FALSE(document["run"]["pinnedTo"].isNull());
    EXPECT_EQ(figuresOf(document["measures"][0].toObject()).mid(4), QStringList{"ratio server CPU"});
    EXPECT_EQ(figuresOf(document["measures"][1].toObject()), QStringList{"ratio resident"});
}
#endif

TEST(toolserver_load, GivesEveryMeasureSeveralClientsWhenNothingIsPinned)
{
    const Ended ended = run(shortly({"all-tools-1"}) + QStringList{"--unpinned"});

    EXPECT_EQ(ended.status, 0) << ended.errors.toStdString();
    EXPECT_TRUE(ended.output.contains("not pinned"));
    EXPECT_TRUE(ended.output.contains("all-tools-1 (8 clients: the poses of all tools (1))"));
}

TEST(toolserver_load, RefusesASingleClientThatIsNotPinned)
{
    const Ended ended = run({"--unpinned", "--measure", "pose-1"});

    EXPECT_EQ(ended.status, 2);
    EXPECT_TRUE(ended.errors.startsWith("toolserver_load: --unpinned: "));
}

TEST(toolserver_load, ListsItsMeasures)
{
    const Ended ended = run({"--list"});

    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(hasLine(ended.output, R"(\* pose-64 +64 clients: the pose of one tool)"));
    EXPECT_TRUE(hasLine(ended.output, R"(  pose-256 +256 clients: the pose of one tool)"));
}

TEST(toolserver_load, EndsWithStatus2OnWrongUsage)
{
    for (const QStringList& arguments :
         {QStringList{"--measure", "nothing"}, QStringList{"--pairs", "0"}, QStringList{"--seconds", "fast"},
          QStringList{"--all", "--measure", "pose-8"}, QStringList{"--bare-server", "some"}, QStringList{"extra"},
          QStringList{"--unknown"}})
    {
        const Ended ended = run(arguments);
        EXPECT_EQ(ended.status, 2) << arguments.join(" ").toStdString();
        EXPECT_TRUE(ended.errors.startsWith("toolserver_load: ")) << ended.errors.toStdString();
        EXPECT_EQ(ended.output, "");
    }
}

TEST(toolserver_load, EndsWithStatus1WhenTheServerCannotBeStarted)
{
    const Ended ended = run(shortly({"pose-8"}) + QStringList{"--toolserver", "/nowhere/toolserver"});

    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(ended.errors.startsWith("toolserver_load: cannot start /nowhere/toolserver: "))
        << ended.errors.toStdString();
}

TEST(toolserver_load, EndsWithStatus1AndTheServersWordsWhenItDoesNotListen)
{
    const Ended ended = run(shortly({"age-60"}) + QStringList{"--module-dir", "/nowhere"});

    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(ended.errors.contains(" does not listen: ")) << ended.errors.toStdString();
    EXPECT_TRUE(ended.errors.contains("/nowhere/StampedCamera")) << ended.errors.toStdString();
}

TEST(toolserver_load, ServesAsABareServerThatSendsAnswersOfTheSameSizes)
{
    const MeasuredServer server(PROGRAM, {"--bare-server", "each", "--tools", "2"});
    PlainSocket client = PlainSocket::connectedTo(server.port());

    client.send(bytes("000c 15000000 00000001 00000001"));
    EXPECT_EQ(client.receive(14), bytes("000c 15") + std::string(11, '\0'));
    client.send(bytes("0024 1d000000 546f6f6c31") + std::string(27, '\0'));
    EXPECT_EQ(client.receive(90), bytes("0058 1d") + std::string(87, '\0'));
    client.send(bytes("0004 1e000000"));
    const std::string tool = bytes("0058 1e") + std::string(87, '\0');
    EXPECT_EQ(client.receive(186), tool + tool + bytes("0004 14000000"));
}
