#include "StampedCamera.h"

#include <tbrCore/DLLFactory.h>
#include <tbrCore/Settings.h>

#include <algorithm>

namespace
{

/// Takes the frames per second from the setting "StampedCamera/Rate".
class StampedCameraFactory : public ToollistFactory
{
public:
    Toollist* createInstance() override
    {
        const QString rate = tbr::Settings::getInstance().get(QString("StampedCamera/Rate"), QString("60"));
        return new StampedCamera(std::max(1, rate.toInt()));
    }
};

} // namespace

TBR_EXPORT_FACTORY(ToollistFactory, StampedCameraFactory)
