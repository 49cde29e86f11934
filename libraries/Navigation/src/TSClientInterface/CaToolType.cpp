#include <TSClientInterface/CaToolType.h>

bool CaToolType::isCalibrateable(unsigned char type)
{
    return isCalibrateable(static_cast<ToolType>(type));
}

bool CaToolType::isCalibrateable(CaToolType::ToolType type)
{
    return type == CALIBRATEABLE_12 || type == CALIBRATEABLE_13 ||
           (type >= CALIBRATEABLE_100 && type <= CALIBRATEABLE_105);
}

bool CaToolType::isVerifyable(unsigned char type)
{
    return isVerifyable(static_cast<ToolType>(type));
}

bool CaToolType::isVerifyable(CaToolType::ToolType type)
{
    return isCalibrateable(type) || type == VERIFYABLE_0 || type == VERIFYABLE_14 || type == VERIFYABLE_16 ||
           type == VERIFYABLE_17 || type == VERIFYABLE_99;
}
