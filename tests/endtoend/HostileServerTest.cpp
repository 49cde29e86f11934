// A client in a hostile world: every operation against every way in which a server can misbehave. Each ends in time
// with the status that tells what happened, and the list can be connected again afterwards.

#include <support/ClientModule.h>
#include <support/HostileServer.h>
#include <support/LogCapture.h>
#include <support/Wine.h>

#include <SurgicalTools/SurgicalToolBox.h>
#include <TSClientInterface/CaInitializableTool.h>
#include <TSClientInterface/CaNormalInfo.h>
#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <random>

using namespace std::chrono_literals;
using namespace wire;

namespace
{

constexpr long PATIENT_MS = 60000;
/// For servers that do not come to an end.
constexpr long IMPATIENT_MS = 15;
/// A hundred times what an operation may take, so that a busy machine does not matter; a server that never comes to an
/// end would take for ever.
const std::chrono::seconds ALL_THE_TIME{isWine() ? 200 : 20}; // through Wine, 4096 packets take their time

// --- the operations

/// What an operation wants to know from the server, by which the outcome of a fault is told.
enum class Wish
{
    NOTHING,
    CONNECTION,
    FAREWELL,
    APPROVAL, // an acknowledgement alone
    POSE,
    IMAGS,
    REALS,
    NORMALS,
    NEAREST,
    NEAREST_IN_LIST,
    SWITCH,
    ALL_POSES,
    ALL_IMAGS,
    ALL_REALS,
    TOOL_SET
};

struct Client;

struct Operation
{
    const char* name;
    Wish wish;
    int (*perform)(Client&);
};

/// The application's list: its tools can be initialised.
class InitializableToolList : public CaToolList
{
protected:
    CaTool* createTool(const char* name, unsigned char type, int, int numberOfImags, int numberOfReals) override
    {
        return new CaInitializableTool(getToolServer(), name, type, numberOfImags, numberOfReals);
    }
};

/// A list that was connected to the server while that behaved, and what its operations need.
struct Client
{
    explicit Client(HostileServer& server_) : server(server_)
    {
        connectAgain();
        tool = dynamic_cast<CaInitializableTool*>(list->getTool("Drill"));
        other = list->getTool("Base");
    }

    void connectAgain()
    {
        server.react(HostileServer::behave);
        module().setTimeout(PATIENT_MS);
        ASSERT_EQ(list->connect("127.0.0.1", server.port()), 0);
        ASSERT_EQ(list->updateAllTransforms(true), 0);
        ASSERT_EQ(list->getNumberOfTools(), 2);
    }

    CaToolServer& module() { return *list->getToolServer(); }

    /// The status that ends a sequence, or the last one when it does not end.
    template <class Fetch>
    static int fetchAll(Fetch fetch)
    {
        constexpr int MANY = 1024;
        int status = 1;
        for (int i = 0; i < MANY && (status == 1 || status == -10 || status == -15); ++i)
            status = fetch();
        return status;
    }
    int fetchPoses()
    {
        return fetchAll([this] { return module().nextTransform(name, rotation, translation); });
    }
    int fetchToolSet()
    {
        const int number = module().getNumberOfTools();
        CaToolInfo info;
        return number < 0 ? number : fetchAll([&] { return module().getToolInfo(info); });
    }

    HostileServer& server;
    std::unique_ptr<InitializableToolList> list = std::make_unique<InitializableToolList>();
    CaInitializableTool* tool = nullptr;
    CaTool* other = nullptr;

    std::string name;
    Vector3d points[32];
    int count = 0;
    int limits[2] = {};
    double errors[2] = {};
    float rms = 0;
    bool flag = false;
    bool types[256] = {};
    unsigned char type = 12;
    Matrix3x3 rotation;
    Vector3d translation;
};

const Operation OPERATIONS[] = {
    // The module's operations; those that begin a sequence together with its fetches.
    {"getHostName", Wish::NOTHING, [](Client& c) { return c.module().getHostName() ? 0 : -1; }},
    {"getPortNumber", Wish::NOTHING, [](Client& c) { return c.module().getPortNumber() == c.server.port() ? 0 : -1; }},
    {"setTimeout", Wish::NOTHING, [](Client& c) { return c.module().setTimeout(c.module().getTimeout()), 0; }},
    {"connectByAnother", Wish::CONNECTION, [](Client& c) { return c.module().connect(&c.module()); }},
    {"connect", Wish::CONNECTION, [](Client& c) { return c.module().connect("127.0.0.1", c.server.port()); }},
    {"disconnect", Wish::FAREWELL, [](Client& c) { return c.module().disconnect(); }},
    {"getToolInfo", Wish::TOOL_SET, [](Client& c) { return c.fetchToolSet(); }},
    {"nextImags", Wish::ALL_IMAGS,
     [](Client& c)
     {
         c.module().startImags();
         return Client::fetchAll([&] { return c.module().nextImags(c.name, c.points, &c.count); });
     }},
    {"nextReals", Wish::ALL_REALS,
     [](Client& c)
     {
         c.module().startReals();
         return Client::fetchAll([&] { return c.module().nextReals(c.name, c.points, &c.count); });
     }},
    {"getReals", Wish::REALS, [](Client& c) { return c.module().getReals("Drill", c.points, &c.count, &c.rms); }},
    {"getLastRemoteError", Wish::NOTHING, [](Client& c) { return c.module().getLastRemoteError(c.name); }},
    {"getImags", Wish::IMAGS, [](Client& c) { return c.module().getImags("Drill", c.points, &c.count, &c.rms); }},
    {"setReference", Wish::APPROVAL, [](Client& c) { return c.module().setReference("Base"); }},
    {"setNearestTypes", Wish::APPROVAL, [](Client& c) { return c.module().setNearestTypes(c.types); }},
    {"getNearestTool", Wish::NEAREST, [](Client& c) { return c.module().getNearestTool(c.name, c.points, &c.count); }},
    {"nextTransform", Wish::ALL_POSES,
     [](Client& c)
     {
         c.module().startTransforms(true);
         return c.fetchPoses();
     }},
    {"nextTransformOnSwitch", Wish::ALL_POSES,
     [](Client& c)
     {
         c.module().startTransformsOnSwitch(7, true);
         return c.fetchPoses();
     }},
    {"getTransform", Wish::POSE,
     [](Client& c) { return c.module().getTransform("Drill", c.rotation, c.translation, &c.rms); }},
    {"getProtocolVersion", Wish::NOTHING, [](Client& c) { return c.module().getProtocolVersion() - 1; }},
    {"calibrate", Wish::APPROVAL, [](Client& c) { return c.module().calibrate("Drill", c.points, 2); }},
    {"getSwitch", Wish::SWITCH, [](Client& c) { return c.module().getSwitch(&c.count, &c.flag); }},
    {"cancel", Wish::NOTHING, [](Client& c) { return c.module().cancel(), 0; }},
    {"getStatus", Wish::APPROVAL, [](Client& c) { return c.module().getStatus(); }},
    {"getServerDescription", Wish::NOTHING,
     [](Client& c) { return c.module().getServerDescription().empty() ? -1 : 0; }},
    {"writeNormalInfo", Wish::APPROVAL,
     [](Client& c) { return c.module().writeNormalInfo("Drill", c.points, 3, 60, 3, 1, 1); }},
    {"readNormalInfo", Wish::NORMALS,
     [](Client& c)
     {
         return c.module().readNormalInfo("Drill", c.points, &c.count, &c.limits[0], &c.limits[1], &c.errors[0],
                                          &c.errors[1]);
     }},
    {"initialize", Wish::APPROVAL,
     [](Client& c) { return c.module().initialize(2, "New", 12, c.points, 3, c.points, 1, 7, "Miller", 0, 0, 1); }},
    {"isConnected", Wish::NOTHING, [](Client& c) { return c.module().isConnected() ? 0 : -1; }},

    // The list's.
    {"listConnect", Wish::CONNECTION, [](Client& c) { return c.list->connect("127.0.0.1", c.server.port()); }},
    {"listConnectByAnother", Wish::CONNECTION, [](Client& c) { return c.list->connect(&c.module()); }},
    {"listDisconnect", Wish::FAREWELL, [](Client& c) { return c.list->disconnect(); }},
    {"listGetStatus", Wish::APPROVAL, [](Client& c) { return c.list->getStatus(); }},
    {"listSetReference", Wish::APPROVAL, [](Client& c) { return c.list->setReference(c.other); }},
    {"updateAllImags", Wish::ALL_IMAGS, [](Client& c) { return c.list->updateAllImags(); }},
    {"updateAllReals", Wish::ALL_REALS, [](Client& c) { return c.list->updateAllReals(); }},
    {"updateAllTransforms", Wish::ALL_POSES, [](Client& c) { return c.list->updateAllTransforms(true); }},
    {"updateAllTransformsQuietly", Wish::ALL_POSES, [](Client& c) { return c.list->updateAllTransforms(false); }},
    {"updateAllTransformsAndImags", Wish::ALL_POSES, [](Client& c) { return c.list->updateAllTransformsAndImags(); }},
    {"listSetNearestTypes", Wish::APPROVAL, [](Client& c) { return c.list->setNearestTypes(&c.type, 1); }},
    {"listGetNearestTool", Wish::NEAREST_IN_LIST,
     [](Client& c)
     {
         CaTool* nearest = nullptr;
         const int status = c.list->getNearestTool(nearest);
         EXPECT_EQ(nearest != nullptr, status == 0);
         return status;
     }},

    // A tool's.
    {"toolUpdateImags", Wish::IMAGS, [](Client& c) { return c.tool->updateImags(); }},
    {"toolUpdateReals", Wish::REALS, [](Client& c) { return c.tool->updateReals(); }},
    {"toolUpdateTransform", Wish::POSE, [](Client& c) { return c.tool->updateTransform(); }},
    {"toolCalibrate", Wish::APPROVAL, [](Client& c) { return c.tool->calibrate(); }},
    {"toolInitialize", Wish::APPROVAL, [](Client& c) { return c.tool->initialize(); }},
    {"toolReadNormalInfo", Wish::NORMALS, [](Client& c) { return c.tool->readNormalInfo(); }},
    {"toolWriteNormalInfo", Wish::APPROVAL,
     [](Client& c)
     {
         const CaNormalInfo info(3);
         c.tool->setNormalInfo(&info);
         return c.tool->writeNormalInfo();
     }},
};

/// Operations that take several requests and say less about how they ended.
const struct
{
    const char* name;
    bool (*perform)(Client&);
} COMPOSED[] = {
    {"hasValidTransformation", [](Client& c) { return c.tool->hasValidTransformation(true); }},
    {"updateImagsInFrameOfATool", [](Client& c) { return c.tool->updateImags(c.other) == 0; }},
    {"connectOfTheToolBox",
     [](Client& c)
     {
         SurgicalToolBox& box = *SurgicalToolBox::getInstance();
         box.setToolList(c.list.get());
         c.list->disconnect();
         return box.connect("127.0.0.1", c.server.port()) == CaError::nullError;
     }},
};

// --- the faults

/// Where it hangs on the moment how an operation ends.
constexpr int ANY_STATUS = 1000;

struct Fault
{
    const char* name;
    HostileServer::Reaction reaction;
    int status; // of every operation that is not listed otherwise
    std::map<Wish, int> otherwise = {};
    long timeoutMs = PATIENT_MS;
    /// Whether operations of several requests fail, too.
    bool isFatal = true;

    int expected(Wish wish) const
    {
        if (wish == Wish::NOTHING || wish == Wish::FAREWELL)
            return 0;
        const auto found = otherwise.find(wish);
        return found == otherwise.end() ? status : found->second;
    }
};

/// Answers with the first packet of the right answer, changed.
template <class Change>
HostileServer::Reaction answering(Change change)
{
    return [change](HostileServer& server, const std::string& request)
    { server.connection.trySend(change(ServerWords().answersTo(request).front())); };
}

HostileServer::Reaction saying(const ServerWords& words)
{
    return [words](HostileServer& server, const std::string& request)
    { server.connection.trySend(words.streamFor(request)); };
}

HostileServer::Reaction failingWith(const std::string& code, const std::string& text)
{
    return answering([=](const std::string&) { return framed(packet(FAILURE) + bytes(code) + text); });
}

ServerWords withNumber(const char* bits)
{
    ServerWords words;
    words.number = bytes(bits);
    return words;
}

ServerWords withCounts(int reals, int imags)
{
    ServerWords words;
    words.reals = reals;
    words.imags = imags;
    return words;
}

ServerWords withNames(const std::string& first, const std::string& second)
{
    ServerWords words;
    words.firstName = first;
    words.secondName = second;
    return words;
}

ServerWords withExtra(const std::string& extra)
{
    ServerWords words;
    words.extra = extra;
    return words;
}

/// What has become of numbers that are none: no measurement, no tool. Markers are passed on as they are.
const std::map<Wish, int> NO_MEASUREMENT = {
    {Wish::POSE, -10}, {Wish::IMAGS, -10}, {Wish::NEAREST, -10}, {Wish::NEAREST_IN_LIST, -10}};

/// What has become of counts that no record can hold; a tool with one is passed over.
const std::map<Wish, int> NO_SUCH_COUNT = {{Wish::IMAGS, -8},          {Wish::REALS, -8},     {Wish::NORMALS, -8},
                                           {Wish::NEAREST, -8},        {Wish::ALL_IMAGS, -8}, {Wish::ALL_REALS, -8},
                                           {Wish::NEAREST_IN_LIST, -8}};

const std::map<Wish, int> SINGLE_ANSWERS_ARE_GOOD = {
    {Wish::CONNECTION, 0}, {Wish::APPROVAL, 0}, {Wish::POSE, 0},   {Wish::IMAGS, 0},          {Wish::REALS, 0},
    {Wish::NORMALS, 0},    {Wish::NEAREST, 0},  {Wish::SWITCH, 0}, {Wish::NEAREST_IN_LIST, 0}};

/// The first packet is the whole answer, if it is here in time.
const std::map<Wish, int> SINGLE_ANSWERS_MAY_BE_GOOD = []
{
    std::map<Wish, int> result = SINGLE_ANSWERS_ARE_GOOD;
    for (auto& row : result)
        row.second = ANY_STATUS;
    return result;
}();

const Fault FAULTS[] = {
    // It goes.
    {"Closes", [](HostileServer& server, const std::string&) { server.connection.close(); }, -5},
    {"Resets", [](HostileServer& server, const std::string&) { server.connection.abort(); }, -5},
    {"ClosesInTheMiddleOfItsAnswer",
     [](HostileServer& server, const std::string& request)
     {
         server.connection.trySend(ServerWords().streamFor(request).substr(0, 5));
         server.connection.close();
     },
     -5},
    {"ClosesBeforeTheLastByte",
     [](HostileServer& server, const std::string& request)
     {
         const std::string answer = ServerWords().streamFor(request);
         server.connection.trySend(answer.substr(0, answer.size() - 1));
         server.connection.close();
     },
     -5},

    // It takes its time.
    {"SaysNothing", [](HostileServer&, const std::string&) {}, -2, {}, IMPATIENT_MS},
    {"StopsBeforeTheLastByte",
     [](HostileServer& server, const std::string& request)
     {
         const std::string answer = ServerWords().streamFor(request);
         server.connection.trySend(answer.substr(0, answer.size() - 1));
     },
     -2,
     {},
     IMPATIENT_MS},
    {"DripsBytesWithoutEnd",
     [](HostileServer& server, const std::string&) { server.drip(framed(std::string(65535, '\x14')), 1, 3ms); },
     -2,
     {},
     IMPATIENT_MS},
    {"DripsPacketsWithoutEnd",
     [](HostileServer& server, const std::string& request)
     {
         const std::string packet = framed(ServerWords().answersTo(request).front());
         server.drip(packet, packet.size(), 2ms);
     },
     -2, SINGLE_ANSWERS_MAY_BE_GOOD, IMPATIENT_MS, false},
    {"DripsErrorsWithoutEnd",
     [](HostileServer& server, const std::string&)
     {
         const std::string packet = framed(failure(8, "Tools is not in view."));
         server.drip(packet, packet.size(), 2ms);
     },
     -2, SINGLE_ANSWERS_MAY_BE_GOOD, IMPATIENT_MS},

    // It does not come to an end. What a client is given at once it fetches; it stops after 1024 fetches.
    {"SendsPacketsWithoutEnd",
     [](HostileServer& server, const std::string& request)
     {
         const std::string packet = framed(ServerWords().answersTo(request).front());
         server.drip(packet, packet.size(), 0ms);
     },
     1,
     []
     {
         std::map<Wish, int> result = SINGLE_ANSWERS_ARE_GOOD;
         result[Wish::TOOL_SET] = -8;
         return result;
     }(),
     PATIENT_MS, false},

    // It says the wrong thing.
    {"AnswersWithAnotherKind", answering([](const std::string& packet) { return framed('\x4d' + packet.substr(1)); }),
     -8},
    {"AnswersWithAFrameOfNoBytes", answering([](const std::string&) { return bytes("0000"); }), -5},
    {"AnswersWithOneByte", answering([](const std::string& packet) { return framed(packet.substr(0, 1)); }), -8},
    {"AnswersWithAByteTooFew",
     answering([](const std::string& packet) { return framed(packet.substr(0, packet.size() - 1)); }), -8},
    {"AnswersWithAByteTooMany", saying(withExtra("x")), -8, {{Wish::CONNECTION, 0}}, PATIENT_MS, false},
    {"AnswersWithTheLongestFrame", answering([](const std::string& packet) { return framed(padded(packet, 65535)); }),
     -8},

    // It says so, but strangely.
    {"FailsWithoutAnEndOfText", failingWith("0000000d", std::string(256, 'e')), -20},
    {"FailsWithTheLargestCode", failingWith("7fffffff", std::string(256, 'e')), -7},
    {"FailsWithTheSmallestCode", failingWith("80000000", std::string(256, '\0')), -7},
    {"FailsWithASuccess", failingWith("00000000", padded("Success", 256)), -7},
    {"ChangesItsToolSetAllTheTime", failingWith("00000006", padded("Toolchange", 256)), -6},

    // It says what cannot be.
    {"MeasuresNotANumber", saying(withNumber("0000c07f")), 0, NO_MEASUREMENT, PATIENT_MS, false},
    {"MeasuresInfinity", saying(withNumber("0000807f")), 0, NO_MEASUREMENT, PATIENT_MS, false},
    {"MeasuresMinusInfinity", saying(withNumber("000080ff")), 0, NO_MEASUREMENT, PATIENT_MS, false},
    {"MeasuresTheLargestNumbers", saying(withNumber("ffff7f7f")), 0, {}, PATIENT_MS, false},
    {"CountsOneTooMany", saying(withCounts(33, 9)), 0, NO_SUCH_COUNT, PATIENT_MS, false},
    {"CountsMinusOne", saying(withCounts(-1, -1)), 0, NO_SUCH_COUNT, PATIENT_MS, false},
    {"CountsTheLargestNumber", saying(withCounts(0x7fffffff, 0x7fffffff)), 0, NO_SUCH_COUNT, PATIENT_MS, false},
    {"CountsTheSmallestNumber", saying(withCounts(-0x7fffffff - 1, -0x7fffffff - 1)), 0, NO_SUCH_COUNT, PATIENT_MS,
     false},
    {"CountsNothing", saying(withCounts(0, 0)), 0, {}, PATIENT_MS, false},
    {"NamesOtherTools", saying(withNames("Nobody", "No one")), 0, {{Wish::NEAREST_IN_LIST, -11}}, PATIENT_MS, false},
    {"NamesWithoutAnEnd",
     saying(withNames(std::string(32, '\xff'), std::string(32, 'n'))),
     0,
     {{Wish::NEAREST_IN_LIST, -11}},
     PATIENT_MS,
     false},
    {"NamesNothing", saying(withNames("", "")), 0, {{Wish::NEAREST_IN_LIST, -11}}, PATIENT_MS, false},
    {"NamesOneToolTwice", saying(withNames("Drill", "Drill")), 0, {}, PATIENT_MS, false},
};

void PrintTo(const Fault& fault, std::ostream* stream)
{
    *stream << fault.name;
}

// --- the tests

class HostileServerTest : public testing::Test
{
protected:
    static void SetUpTestSuite() { useClientModule(TBR_MODULES); }

    /// Performs an operation while the server reacts like this, and looks at how long that took.
    template <class Perform>
    auto amid(const HostileServer::Reaction& reaction, long timeoutMs, Client& client, Perform perform)
    {
        client.module().setTimeout(timeoutMs);
        server.react(reaction);
        const auto begin = std::chrono::steady_clock::now();
        const auto result = perform(client);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, ALL_THE_TIME);
        return result;
    }

    LogCapture log;
    HostileServer server;
};

class HostileServerThat : public HostileServerTest, public testing::WithParamInterface<Fault>
{
protected:
    template <class Perform>
    auto amidTheFault(Client& client, Perform perform)
    {
        return amid(GetParam().reaction, GetParam().timeoutMs, client, perform);
    }
};

TEST_P(HostileServerThat, EndsNoOperationButWithItsStatus)
{
    Client client(server);
    for (const Operation& operation : OPERATIONS)
    {
        const int status = amidTheFault(client, operation.perform);
        const int expected = GetParam().expected(operation.wish);
        EXPECT_EQ(status, expected == ANY_STATUS ? status : expected) << operation.name;
        client.connectAgain();
    }
    EXPECT_EQ(client.list->getTool("Drill"), client.tool); // through all that
}

TEST_P(HostileServerThat, EndsNoOperationOfSeveralRequests)
{
    Client client(server);
    for (const auto& operation : COMPOSED)
    {
        EXPECT_FALSE(amidTheFault(client, operation.perform) && GetParam().isFatal) << operation.name;
        client.connectAgain();
    }
}

INSTANTIATE_TEST_SUITE_P(Client, HostileServerThat, testing::ValuesIn(FAULTS),
                         [](const auto& fault) { return std::string(fault.param.name); });

/// Sends the first bytes of an answer, and the rest as soon as the server is to change.
HostileServer::Reaction stallingBehind(std::size_t size)
{
    return [size](HostileServer& server, const std::string& request)
    {
        const std::string answer = ServerWords().streamFor(request);
        server.connection.trySend(answer.substr(0, size));
        server.waitForChange([] { return false; });
        server.connection.trySend(answer.substr(size));
    };
}

TEST_F(HostileServerTest, MayStallBehindAnyByteAndFindsItsClientReadyWhenItGoesOn)
{
    const struct
    {
        unsigned char request;
        int (*perform)(Client&);
    } rows[] = {{ALL_POSES, [](Client& c) { return c.list->updateAllTransforms(true); }},
                {POSE, [](Client& c) { return c.tool->updateTransform(); }},
                {IMAGINARY, [](Client& c) { return c.tool->updateImags(); }},
                {STATUS, [](Client& c) { return c.list->getStatus(); }}};
    Client client(server);
    for (const auto& row : rows)
        for (std::size_t size = 0; size < ServerWords().streamFor(packet(row.request)).size(); ++size)
        {
            EXPECT_EQ(amid(stallingBehind(size), 1, client, row.perform), -2) << size;
            EXPECT_TRUE(client.list->isConnected());
            EXPECT_EQ(amid(HostileServer::behave, PATIENT_MS, client, row.perform), 0) << size;
        }
    EXPECT_TRUE(client.tool->isTransformValid());
}

/// Frames of any kind and length, most of them such as a client may wait for.
std::string noise(unsigned seed)
{
    constexpr int SIZES[] = {0, 1, 4, 12, 88, 140, 264, 428, 440, 560, 65535};
    std::mt19937 random(seed);
    std::string stream;
    while (stream.size() < 20000)
    {
        std::string frame(static_cast<std::size_t>(SIZES[random() % 11]), static_cast<char>(random()));
        for (std::size_t i = 0; i < frame.size() && i < 64; ++i)
            frame[i] = static_cast<char>(random());
        if (!frame.empty())
            frame[0] = static_cast<char>(random() % 4 == 0 ? FAILURE : ACKNOWLEDGE + random() % 19);
        stream += framed(frame);
    }
    return stream;
}

TEST_F(HostileServerTest, MaySendNoiseToAnyOperation)
{
    constexpr unsigned PER_OPERATION = 5;
    Client client(server);
    unsigned seed = 0;
    for (const Operation& operation : OPERATIONS)
        for (unsigned i = 0; i < PER_OPERATION; ++i)
        {
            const std::string stream = noise(++seed);
            const auto react = [&stream](HostileServer& s, const std::string&) { s.connection.trySend(stream); };
            EXPECT_LE(amid(react, IMPATIENT_MS, client, operation.perform), 1) << operation.name << " " << seed;
            client.connectAgain();
        }
}

} // namespace
