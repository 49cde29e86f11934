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

const char* CaToolType::getName(unsigned char type)
{
    struct Row
    {
        int first;
        int last;
        const char* name;
    };
    static constexpr Row ROWS[] = {{0, 0, "pointer"},       {1, 1, "dynamic reference"}, {2, 2, "calibrator"},
                                   {3, 3, "C-arm base"},    {12, 12, "drill"},           {13, 13, "burr"},
                                   {14, 14, "drill guide"}, {100, 105, "calibratable"}};
    for (const Row& row : ROWS)
        if (type >= row.first && type <= row.last)
            return row.name;
    return "tool";
}
