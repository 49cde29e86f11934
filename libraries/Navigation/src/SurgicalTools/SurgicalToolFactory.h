#pragma once

#include <SurgicalTools/SurgicalTool.h>

/// Base of the factories that make instruments. A factory enters itself in SurgicalTool::getFactory() under its class
/// name, unless the name is empty or taken: the first factory of a name stays. It leaves the registry when it dies, but
/// usually lives as long as the process. Make and delete factories on the thread that makes the instruments.
class TBR_NAVIGATION_EXPORT SurgicalToolFactory : public CaProductFactory<SurgicalTool>
{
public:
    ~SurgicalToolFactory() override;

    SurgicalToolFactory(const SurgicalToolFactory&) = delete;
    SurgicalToolFactory& operator=(const SurgicalToolFactory&) = delete;

protected:
    explicit SurgicalToolFactory(const std::string& className);

private:
    std::string m_ClassName;
};

namespace _tbr
{

/// Makes one factory of a class in the life of the process, at the first call; it is never freed. Returns 1.
template <class Factory>
int createFactoryOnce()
{
    static const auto* const factory = new Factory;
    static_cast<void>(factory);
    return 1;
}

} // namespace _tbr
