#include <TSBase/Tool.h>
#include <tbrBase/StringMixer.h>
#include <tbrCore/CaError.h>
#include <tbrCore/DLLManager.h>
#include <tbrCore/Log.h>
#include <tbrNumerics/TransMatrix3d.h>

#include <iostream>

/// Uses something of every library; fails when a result is not as it must be.
int main()
{
    const TransMatrix3d shift(Matrix3x3::identity(), Vector3d(1.0, 2.0, 3.0));
    const bool isMoved = shift * Vector3d(1.0, 1.0, 1.0) == Vector3d(2.0, 3.0, 4.0);
    const std::string plugin = _tbr::StringMixer() << "Camera" << DLLManager::GetDLLExtension();
    const bool isInvalid = Tool::invalidVector.x == -2.999999950695069e28;
    TBR_LOG("INFO") << "consumer of " << plugin << std::endl;
    std::cout << plugin << std::endl;
    return isMoved && isInvalid && CaError() == CaError::nullError ? 0 : 1;
}
