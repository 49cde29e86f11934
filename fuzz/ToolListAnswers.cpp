// A server's bytes against the client's tool list, with the protocol client's module below it as an application has it:
// every request ends with a status code, and the list and its tools stay within their limits.
#include "AnswerInput.h"

#include <TSClientInterface/CaInitializableTool.h>
#include <TSClientInterface/CaToolList.h>
#include <tbrCore/DLLManager.h>
#include <tbrCore/Settings.h>

namespace
{

using fuzz::checkStatus;
using fuzz::require;

/// The module stays loaded from the first input on: what an input reaches in it could not be counted otherwise.
void loadModule()
{
    const std::string keys = "Tobrel/Navigation/CaToolList/";
    tbr::Settings& settings = tbr::Settings::getInstance();
    settings.set(keys + "ClientInterfaceModulePath", std::string(FUZZ_MODULES));
    settings.set(keys + "ClientInterfaceModule", std::string("TSClient"));
    static DLLFactory<CaToolServerFactory> module(
        (std::string(FUZZ_MODULES) + "/TSClient" + DLLManager::GetDLLExtension()).c_str());
    require(module.getFactory() != nullptr, "the client's module can be loaded");
}

/// A tool list of which an application asks one thing after the other.
class Course
{
public:
    explicit Course(fuzz::AnswerServer& server) : m_Server(server) {}

    void take(int operation)
    {
        using Operation = void (Course::*)(int argument);
        static constexpr Operation OPERATIONS[] = {
            &Course::connect,         &Course::getStatus,  &Course::updateAllImags, &Course::updateAllReals,
            &Course::updateAllPoses,  &Course::updateTool, &Course::calibrateTool,  &Course::setReference,
            &Course::setNearestTypes, &Course::getNearest, &Course::disconnect,     &Course::updateAllPosesAndImags,
            &Course::useNormals,      &Course::arrive,
        };
        const int count = static_cast<int>(std::size(OPERATIONS));
        (this->*OPERATIONS[operation % count])(operation / count);
        checkList();
    }

private:
    void connect(int) { checkStatus(m_List.connect("server", 2222)); }
    void arrive(int argument) { m_Server.release(argument % 2 == 0); }
    void disconnect(int) { checkStatus(m_List.disconnect()); }
    void getStatus(int) { checkStatus(m_List.getStatus()); }
    void updateAllImags(int) { checkStatus(m_List.updateAllImags()); }
    void updateAllReals(int) { checkStatus(m_List.updateAllReals()); }
    void updateAllPoses(int argument) { checkStatus(m_List.updateAllTransforms(argument % 2 == 0)); }
    void updateAllPosesAndImags(int) { checkStatus(m_List.updateAllTransformsAndImags()); }

    CaTool* tool(int index) const { return m_List.getTool(index % std::max(1, m_List.getNumberOfTools())); }

    void updateTool(int argument)
    {
        CaTool* const chosen = tool(argument);
        if (!chosen)
            return;
        checkStatus(chosen->updateImags());
        checkStatus(chosen->updateReals());
        checkStatus(chosen->updateTransform());
        chosen->hasValidTransformation(true);
        checkStatus(chosen->updateImags(tool(argument + 1)));
    }

    void calibrateTool(int argument)
    {
        if (CaTool* const chosen = tool(argument))
            checkStatus(chosen->calibrate());
    }

    void setReference(int argument)
    {
        CaRigidBody* const body = argument % 2 == 0 ? CaToolList::getTracker() : tool(argument);
        checkStatus(m_List.setReference(body));
    }

    void setNearestTypes(int)
    {
        const unsigned char types[] = {0, 14, 255};
        checkStatus(m_List.setNearestTypes(types, 3));
    }

    void getNearest(int)
    {
        CaTool* nearest = nullptr;
        const int status = m_List.getNearestTool(nearest);
        checkStatus(status);
        require((status == CaToolServer::OK) == (nearest != nullptr), "there is a nearest tool or an error");
    }

    void useNormals(int)
    {
        CaInitializableTool described(m_List.getToolServer(), "Probe", 14, 2, 4);
        described.plug(1);
        CaNormalInfo own(4);
        described.setNormalInfo(&own);
        checkStatus(described.readNormalInfo());
        checkStatus(described.writeNormalInfo());
        checkStatus(described.initialize());
        const CaNormalInfo* const normals = described.getNormalInfo();
        require(!normals || normals->getNumberOfNormals() >= 0, "a tool has normals or none");
    }

    void checkList() const
    {
        const int count = m_List.getNumberOfTools();
        require(count >= 0 && count <= 32, "a list holds at most 32 tools");
        for (int i = 0; i < count; ++i)
        {
            const CaTool* const listed = m_List.getTool(i);
            require(listed != nullptr, "each place up to the count has a tool");
            require(listed->getNumberOfReals() <= 32 && listed->getNumberOfImags() <= 8,
                    "a tool has no more points than a packet");
            require(m_List.getTool(listed->getName()) != nullptr, "a tool is found by its name");
        }
    }

    fuzz::AnswerServer& m_Server;
    CaToolList m_List;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool isLoaded = (loadModule(), true);
    require(isLoaded, "the module is loaded once");
    fuzz::runCourse<Course>(fuzz::AnswerInput(data, size));
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed)
{
    return fuzz::mutateFrames(data, size, maxSize, seed, fuzz::AnswerInput::PREFIX_SIZE);
}
