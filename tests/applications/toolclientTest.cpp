#include <endtoend/SharedServer.h>
#include <support/MatchesPattern.h>
#include <support/ProgramProcess.h>
#include <support/TestFolder.h>

#include <gmock/gmock.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <sstream>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace
{

using Arguments = std::vector<std::string>;

const std::string STRAIGHT = " 1 0 0 0 1 0 0 0 1 ";
/// A quarter turn about the z axis, as the camera's `move` takes it.
const std::string TURNED = " 0 -1 0 1 0 0 0 0 1 ";

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

QJsonObject jsonOf(const std::string& line)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(line));
    EXPECT_TRUE(document.isObject()) << line;
    return document.object();
}

/// A run of the program that ends by itself.
struct Outcome
{
    explicit Outcome(const Arguments& arguments, const ProgramProcess::Environment& environment = {})
    {
        ProgramProcess process(TBR_TOOLCLIENT, arguments, environment);
        status = process.exitStatus();
        output = process.standardOutput();
        errors = process.standardError();
    }

    int status;
    std::string output;
    std::string errors;
};

void expectFailure(const Outcome& run, const std::string& reason)
{
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "toolclient: " + reason + "\n");
}

/// A server with a drill at (10, -2, 1) and a base at (1, 0, 0).
class toolclient : public SharedServer<testing::Test>
{
protected:
    void SetUp() override
    {
        SharedServer::SetUp();
        camera("plug 0 Drill type=12 real=0,0,0;100,0,0;0,50,0 imag=0,0,-80;0,0,20");
        camera("plug 3 Base type=1 real=0,0,0;10,0,0;0,10,0");
        camera("move Drill" + TURNED + "10 -2 1 0.25");
        camera("move Base" + STRAIGHT + "1 0 0 0");
    }

    static std::string address() { return "127.0.0.1:" + std::to_string(port()); }
    static Arguments with(const Arguments& arguments)
    {
        Arguments all = {"--host", "127.0.0.1", "--port", std::to_string(port())};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }

    /// What a command that succeeds writes.
    static std::string outputOf(const Arguments& arguments)
    {
        const Outcome run(with(arguments));
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.errors, "");
        return run.output;
    }
    static void expectFailureOf(const Arguments& arguments, const std::string& reason)
    {
        SCOPED_TRACE(testing::PrintToString(arguments));
        expectFailure(Outcome(with(arguments)), reason + ", tool server at " + address() + ")");
    }
};

// --- commands

TEST_F(toolclient, ShowsTheStatus)
{
    const std::string server = "tool server at " + address() + ", protocol version 1";
    EXPECT_EQ(outputOf({"status", "--csv"}),
              "server,status,message,cameraError,cameraText,tools\n\"" + server + "\",0,Toolserver OK,0,,2\n");
    EXPECT_EQ(outputOf({"status", "--json"}), "{\"cameraError\":0,\"cameraText\":\"\",\"message\":\"Toolserver OK\","
                                              "\"server\":\"" +
                                                  server + "\",\"status\":0,\"tools\":2}\n");
    EXPECT_THAT(linesOf(outputOf({"status"})),
                ElementsAre(MatchesPattern("server +status +message +cameraError +cameraText +tools"),
                            server + "       0  Toolserver OK            0                  2"));
}

TEST_F(toolclient, ShowsTheCamerasErrorAndFails)
{
    camera("status -12 The \"strobe\" does not answer.");
    const Outcome run(with({"status", "--csv"}));
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(linesOf(run.output),
                ElementsAre(testing::_, HasSubstr(",-12,Problem initializing comport,-12,\"The \"\"strobe\"\" does not "
                                                  "answer.\",2")));
    EXPECT_EQ(run.errors,
              "toolclient: status: Problem initializing comport (status -12, tool server at " + address() + ")\n");
}

TEST_F(toolclient, ListsTheTools)
{
    camera("hide Base");
    EXPECT_EQ(outputOf({"list"}), "name   type           typeName  slot  markers  points  visible\n"
                                  "Drill    12              drill     0        3       2      yes\n"
                                  "Base      1  dynamic reference     3        3       0       no\n");
    EXPECT_EQ(outputOf({"list", "--csv"}), "name,type,typeName,slot,markers,points,visible\n"
                                           "Drill,12,drill,0,3,2,1\n"
                                           "Base,1,dynamic reference,3,3,0,0\n");
    EXPECT_EQ(outputOf({"--json", "list"}), "{\"tools\":[{\"markers\":3,\"name\":\"Drill\",\"points\":2,\"slot\":0,"
                                            "\"type\":12,\"typeName\":\"drill\",\"visible\":true},"
                                            "{\"markers\":3,\"name\":\"Base\",\"points\":0,\"slot\":3,"
                                            "\"type\":1,\"typeName\":\"dynamic reference\",\"visible\":false}]}\n");
}

TEST_F(toolclient, ListsNothingOfACameraWithoutTools)
{
    camera("reset");
    EXPECT_EQ(outputOf({"list", "--csv"}), "name,type,typeName,slot,markers,points,visible\n");
    EXPECT_EQ(outputOf({"list", "--json"}), "{\"tools\":[]}\n");
}

TEST_F(toolclient, ShowsAPose)
{
    EXPECT_EQ(outputOf({"pose", "Drill"}), "name    x   y  z  r00  r01  r02  r10  r11  r12  r20  r21  r22    rms\n"
                                           "Drill  10  -2  1    0   -1    0    1    0    0    0    0    1  0.250\n");
    EXPECT_EQ(outputOf({"pose", "Drill", "--csv"}), "name,x,y,z,r00,r01,r02,r10,r11,r12,r20,r21,r22,rms\n"
                                                    "Drill,10,-2,1,0,-1,0,1,0,0,0,0,1,0.25\n");
    EXPECT_EQ(outputOf({"pose", "Drill", "--json", "--reference", "Base"}),
              "{\"name\":\"Drill\",\"r00\":0,\"r01\":-1,\"r02\":0,\"r10\":1,\"r11\":0,\"r12\":0,\"r20\":0,\"r21\":0,"
              "\"r22\":1,\"rms\":0.25,\"x\":9,\"y\":-2,\"z\":1}\n");
}

TEST_F(toolclient, ShowsMarkers)
{
    camera("markers Drill 1,2,3.25;4,5,6;10000,0,0");
    EXPECT_EQ(outputOf({"markers", "Drill"}), "marker  visible  x  y      z\n"
                                              "0           yes  1  2  3.250\n"
                                              "1           yes  4  5  6.000\n"
                                              "2            no  -  -      -\n");
    EXPECT_EQ(outputOf({"markers", "Drill", "--csv"}), "marker,visible,x,y,z\n0,1,1,2,3.25\n1,1,4,5,6\n2,0,,,\n");
    EXPECT_EQ(outputOf({"markers", "Drill", "--json"}),
              "{\"markers\":[{\"marker\":0,\"visible\":true,\"x\":1,\"y\":2,\"z\":3.25},"
              "{\"marker\":1,\"visible\":true,\"x\":4,\"y\":5,\"z\":6},"
              "{\"marker\":2,\"visible\":false,\"x\":null,\"y\":null,\"z\":null}]}\n");
}

TEST_F(toolclient, ShowsTheToolNearestToTheReference)
{
    EXPECT_EQ(outputOf({"nearest", "--reference", "Base"}), "name   type  typeName  slot\n"
                                                            "Drill    12     drill     0\n");
    EXPECT_EQ(outputOf({"nearest", "--reference", "Base", "--csv"}), "name,type,typeName,slot\nDrill,12,drill,0\n");
    EXPECT_EQ(outputOf({"nearest", "--reference", "Base", "--json"}),
              "{\"name\":\"Drill\",\"slot\":0,\"type\":12,\"typeName\":\"drill\"}\n");
}

TEST_F(toolclient, ShowsTheSwitch)
{
    camera("switch 258 on");
    EXPECT_EQ(outputOf({"switch"}), "switch  pressed\n258         yes\n");
    EXPECT_EQ(outputOf({"switch", "--csv"}), "switch,pressed\n258,1\n");
    EXPECT_EQ(outputOf({"switch", "--json"}), "{\"pressed\":true,\"switch\":258}\n");
}

TEST_F(toolclient, Calibrates)
{
    camera("calls");
    EXPECT_EQ(outputOf({"calibrate", "Drill", "-1.5,2,3", "0,0,20"}), "name   calibratedPoints\n"
                                                                      "Drill                 2\n");
    EXPECT_EQ(camera("calls"), "updateCalibration Drill [-1.5,2,3;0,0,20]\n");
    EXPECT_EQ(outputOf({"calibrate", "Drill", "1,-2,3", "-4,-5,-6", "--csv"}), "name,calibratedPoints\nDrill,2\n");
    EXPECT_EQ(outputOf({"--json", "calibrate", "Drill", "1,2,3", "4,5,6"}),
              "{\"calibratedPoints\":2,\"name\":\"Drill\"}\n");
}

TEST_F(toolclient, FailsWithOneLineThatNamesTheReason)
{
    camera("hide Base");
    expectFailureOf({"pose", "Nobody"}, "pose Nobody: Unknown tool (status -11");
    expectFailureOf({"pose", "Base"}, "pose Base: Tool not in view (status -10");
    expectFailureOf({"pose", "Drill", "--reference", "Base"}, "pose Drill: Reference not in view (status -9");
    expectFailureOf({"markers", "Nobody"}, "markers Nobody: Unknown tool (status -11");
    expectFailureOf({"list", "--reference", "Nobody"}, "list: Unknown tool (status -11");
    expectFailureOf({"nearest"}, "nearest: Reference not in view (status -9");
    expectFailureOf({"calibrate", "Drill", "1,2,3"}, "calibrate Drill: Calibration error (status -20");
    expectFailureOf({"calibrate", "Nobody", "1,2,3"}, "calibrate Nobody: Unknown tool (status -11");
    camera("refuse updateCalibration");
    expectFailureOf({"calibrate", "Drill", "1,2,3", "4,5,6"}, "calibrate Drill: Calibration error (status -20");
    camera("unplug Base");
    expectFailureOf({"nearest", "--reference", "Drill"}, "nearest: Tools are too far from reference (status -21");
}

// --- watching

TEST_F(toolclient, WatchesSoManySamples)
{
    camera("hide Base");
    EXPECT_EQ(outputOf({"watch", "--count", "2", "--rate", "1000"}), "name   visible   x   y  z\n"
                                                                     "Drill      yes  10  -2  1\n"
                                                                     "Base        no   -   -  -\n"
                                                                     "\n"
                                                                     "name   visible   x   y  z\n"
                                                                     "Drill      yes  10  -2  1\n"
                                                                     "Base        no   -   -  -\n"
                                                                     "\n");
    EXPECT_EQ(outputOf({"watch", "--count=2", "--rate=200", "--csv"}),
              "sample,name,visible,x,y,z,r00,r01,r02,r10,r11,r12,r20,r21,r22\n"
              "0,Drill,1,10,-2,1,0,-1,0,1,0,0,0,0,1\n"
              "0,Base,0,,,,,,,,,,,,\n"
              "1,Drill,1,10,-2,1,0,-1,0,1,0,0,0,0,1\n"
              "1,Base,0,,,,,,,,,,,,\n");
}

TEST_F(toolclient, WatchesInTheReferencesFrame)
{
    const std::vector<std::string> lines =
        linesOf(outputOf({"watch", "--count", "3", "--rate", "100", "--reference", "Base", "--json"}));
    ASSERT_THAT(lines, SizeIs(3));
    for (int i = 0; i < 3; ++i)
    {
        const QJsonObject sample = jsonOf(lines[static_cast<std::size_t>(i)]);
        EXPECT_EQ(sample["sample"].toInt(), i);
        EXPECT_GT(sample["time"].toDouble(), 1.7e9);
        EXPECT_EQ(sample["reference"].toString(), "Base");
        const QJsonObject drill = sample["tools"].toArray()[0].toObject();
        EXPECT_EQ(drill["name"].toString(), "Drill");
        EXPECT_TRUE(drill["visible"].toBool());
        EXPECT_EQ(drill["x"].toDouble(), 9);
        EXPECT_EQ(drill["y"].toDouble(), -2);
        EXPECT_EQ(drill["r01"].toDouble(), -1);
    }
    EXPECT_EQ(jsonOf(linesOf(outputOf({"watch", "--count", "1", "--json"}))[0])["reference"].toString(), "CAM");
}

/// A watch that goes on while the test changes what there is to see.
class toolclientWatch : public toolclient
{
protected:
    void start(const Arguments& arguments)
    {
        Arguments all = with({"watch", "--csv", "--rate", "200"});
        all.insert(all.end(), arguments.begin(), arguments.end());
        m_Process = std::make_unique<ProgramProcess>(TBR_TOOLCLIENT, all);
    }
    /// Whether the watch comes to show such a line behind all that it has shown so far.
    bool comesToShow(const std::string& line)
    {
        const std::size_t shown = m_Process->standardOutput().size();
        return eventually([&] { return m_Process->standardOutput().find("," + line, shown) != std::string::npos; });
    }

    std::unique_ptr<ProgramProcess> m_Process;
};

TEST_F(toolclientWatch, EndsWithStatus0WhenTheUserEndsIt)
{
    for (const int signal : {SIGINT, SIGTERM})
    {
        start({});
        EXPECT_TRUE(comesToShow("Drill,1,10,-2,1,"));
        EXPECT_EQ(m_Process->stop(signal), 0);
        EXPECT_EQ(m_Process->standardError(), "");
    }
}

TEST_F(toolclientWatch, FollowsToolsThatComeAndGo)
{
    start({});
    EXPECT_TRUE(comesToShow("Base,1,1,0,0,"));
    camera("plug 1 Late type=13 real=5,5,5;6,6,7;8,8,8");
    camera("move Late" + STRAIGHT + "7 8 9 0");
    EXPECT_TRUE(comesToShow("Late,1,7,8,9,"));
    camera("unplug Late");
    EXPECT_TRUE(comesToShow("Base,1,1,0,0,"));
    EXPECT_EQ(m_Process->stop(SIGINT), 0);
    EXPECT_EQ(m_Process->standardError(), "");
}

TEST_F(toolclientWatch, ShowsNoPoseWhileTheReferenceIsOutOfViewOrMissing)
{
    start({"--reference", "Base"});
    EXPECT_TRUE(comesToShow("Drill,1,9,-2,1,"));
    camera("hide Base");
    EXPECT_TRUE(comesToShow("Drill,0,,"));
    camera("move Base" + STRAIGHT + "2 0 0 0");
    EXPECT_TRUE(comesToShow("Drill,1,8,-2,1,"));
    camera("unplug Base");
    EXPECT_TRUE(comesToShow("Drill,0,,"));
    EXPECT_TRUE(comesToShow("Drill,0,,"));
    camera("plug 5 Base type=1 real=0,0,0;10,0,0;0,10,0");
    camera("move Base" + STRAIGHT + "3 0 0 0");
    EXPECT_TRUE(comesToShow("Drill,1,7,-2,1,"));
    EXPECT_EQ(m_Process->stop(SIGINT), 0);
    EXPECT_EQ(m_Process->standardOutput().find("Drill,1,10,"), std::string::npos) << "that is in the camera's frame";
}

TEST_F(toolclientWatch, EndsQuietlyWhenNobodyReadsItAnyLonger)
{
    QProcess reader; // takes the first line, and ends
    ProgramProcess process(TBR_TOOLCLIENT, with({"watch", "--csv", "--rate", "200"}), {}, &reader);
    reader.start(TBR_FIRST_LINE, QStringList());
    EXPECT_TRUE(reader.waitForFinished(60000));
    EXPECT_EQ(process.exitStatus(), 0);
    EXPECT_EQ(process.standardError(), "");
}

TEST(toolclientWithoutServer, FailsWhenTheServerIsLost)
{
    TestServer server({}, {"plug 0 Drill type=12"});
    const std::string port = std::to_string(server.port());
    ProgramProcess process(TBR_TOOLCLIENT, {"--host", "127.0.0.1", "--port", port, "watch", "--csv", "--rate", "200"});
    EXPECT_TRUE(eventually([&] { return process.standardOutput().find("\n1,Drill") != std::string::npos; }));
    server.process.crash();
    EXPECT_EQ(process.exitStatus(), 1);
    EXPECT_EQ(process.standardError(),
              "toolclient: watch: Connection error (status -5, tool server at 127.0.0.1:" + port + ")\n");
}

TEST(toolclientWithoutServer, SaysWhatToStartWhenThereIsNone)
{
    const std::string port = std::to_string(PlainSocket::freePort());
    for (const char* command : {"status", "list", "watch", "nearest", "switch"})
        expectFailure(Outcome({"--host", "127.0.0.1", "--port", port, command}),
                      "no tool server answers at 127.0.0.1:" + port +
                          " (Connection error); start one there with: toolserver --port " + port);
    expectFailure(Outcome({"--host", "no.such.host.invalid", "list"}),
                  "no tool server answers at no.such.host.invalid:2222 (Unknown hostname); start one there with: "
                  "toolserver --port 2222");
}

// --- the module and the settings

TEST_F(toolclient, TakesTheModuleFromTheGivenFolderOrFromTheSettings)
{
    EXPECT_THAT(outputOf({"list", "--csv", "--module-dir", TBR_MODULES}), HasSubstr("Drill"));

    const TestFolder folder;
    const std::string settings = folder.write("client.ini", "[Tobrel]\nNavigation\\CaToolList\\"
                                                            "ClientInterfaceModulePath=/no/such/folder\n");
    EXPECT_THAT(outputOf({"list", "--csv", "--settings", settings, "--module-dir", TBR_MODULES}), HasSubstr("Drill"));
    const Outcome run(with({"list", "--settings", settings}));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(linesOf(run.errors),
                ElementsAre(testing::AllOf(HasSubstr("toolclient: the client-interface module cannot be loaded: "),
                                           HasSubstr("/no/such/folder/TSClient"))));
}

TEST(toolclientWithoutServer, RefusesSettingsThatCannotBeRead)
{
    expectFailure(Outcome({"list", "--settings", "/no/such/file.ini"}),
                  "the settings file \"/no/such/file.ini\" cannot be read or is no INI file");
}

// --- usage

TEST(toolclientWithoutServer, ShowsItsOptionsAndVersionOnRequest)
{
    for (const char* option : {"--help", "-h"})
    {
        const Outcome run({option});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.errors, "");
        for (const char* described :
             {"--host <H>", "--port <N>", "--module-dir <DIR>", "--settings <FILE>", "--json", "--csv",
              "--reference <TOOL>", "--rate <HZ>", "--count <N>", "status ", "list ", "watch ", "nearest ", "pose TOOL",
              "markers TOOL", "switch ", "calibrate TOOL X,Y,Z", "localhost", "2222"})
            EXPECT_THAT(run.output, HasSubstr(described));
    }
    const Outcome version({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.output, MatchesPattern("toolclient [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(toolclientWithoutServer, RefusesWrongUsageWithOneLineAndStatus2)
{
    const std::vector<Arguments> wrong = {{},
                                          {"dance"},
                                          {"status", "surplus"},
                                          {"pose"},
                                          {"pose", "A", "B"},
                                          {"markers"},
                                          {"calibrate"},
                                          {"calibrate", "A"},
                                          {"calibrate", "A", "1,2"},
                                          {"calibrate", "A", "1,2,3,4"},
                                          {"calibrate", "A", "1,2,x"},
                                          {"calibrate", "A", "-1,2,nan"},
                                          {"calibrate", "A", "1,2,inf"},
                                          {"--nonsense", "list"},
                                          {"-x", "list"},
                                          {"list", "--port"},
                                          {"list", "--port", "0"},
                                          {"list", "--port", "65536"},
                                          {"list", "--port", "x"},
                                          {"list", "--host", ""},
                                          {"list", "--module-dir", ""},
                                          {"list", "--settings", ""},
                                          {"watch", "--reference", ""},
                                          {"watch", "--rate", "0"},
                                          {"watch", "--rate", "-1"},
                                          {"watch", "--rate", "1001"},
                                          {"watch", "--rate", "nan"},
                                          {"watch", "--count", "0"},
                                          {"watch", "--count", "1.5"},
                                          {"list", "--json", "--csv"}};
    for (const Arguments& arguments : wrong)
    {
        const Outcome run(arguments);
        EXPECT_EQ(run.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(linesOf(run.errors), ElementsAre(MatchesPattern("toolclient: .* \\(see toolclient --help\\)")));
    }
}

} // namespace
