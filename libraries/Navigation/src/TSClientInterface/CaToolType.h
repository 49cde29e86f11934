#pragma once

#include <TSBase/Export.h>

/// What may be done with a tool of a given type. A tool's type is an unsigned 8-bit code that the tool server reports;
/// every code from 0 to 255 is allowed, the named ones belong to one of the two sets.
class TBR_NAVIGATION_EXPORT CaToolType
{
public:
    /// Named after the larger ability: what is calibrateable is verifyable too.
    enum ToolType : unsigned char
    {
        VERIFYABLE_0 = 0,
        CALIBRATEABLE_12 = 12,
        CALIBRATEABLE_13 = 13,
        VERIFYABLE_14 = 14,
        VERIFYABLE_16 = 16,
        VERIFYABLE_17 = 17,
        VERIFYABLE_99 = 99,
        CALIBRATEABLE_100 = 100, ///< the codes 100 to 105 are all calibrateable
        CALIBRATEABLE_105 = 105
    };

    /// Whether a tool of this type can be calibrated: 12, 13, and 100 to 105.
    static bool isCalibrateable(unsigned char type);
    static bool isCalibrateable(CaToolType::ToolType type);

    /// Whether a tool of this type can be verified: 0, 12, 13, 14, 16, 17, 99, and 100 to 105.
    static bool isVerifyable(unsigned char type);
    static bool isVerifyable(CaToolType::ToolType type);

    /// What people call a tool of this type, such as "pointer"; "tool" for a type without a name. The text lives as
    /// long as the library.
    static const char* getName(unsigned char type);
};
