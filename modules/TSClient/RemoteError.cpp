#include "RemoteError.h"

#include <TSClientInterface/CaToolServer.h>

#include <algorithm>
#include <iterator>

int statusOfRemoteError(int code)
{
    struct Row
    {
        int code;
        int status;
    };
    static constexpr Row ROWS[] = {
        {6, CaToolServer::TOOL_SET_CHANGED},        {7, CaToolServer::REFERENCE_NOT_IN_VIEW},
        {8, CaToolServer::TOOL_NOT_IN_VIEW},        {9, CaToolServer::UNKNOWN_TOOL},
        {11, CaToolServer::WRONG_REQUEST},          {13, CaToolServer::CALIBRATION_ERROR},
        {14, CaToolServer::TOO_FAR_FROM_REFERENCE}, {15, CaToolServer::INITIALIZATION_ERROR},
        {16, CaToolServer::NO_NORMAL_VECTORS},      {18, CaToolServer::INCOMPATIBLE_PROTOCOL},
    };
    const auto row =
        std::find_if(std::begin(ROWS), std::end(ROWS), [code](const Row& candidate) { return candidate.code == code; });
    if (row != std::end(ROWS))
        return row->status;
    // A camera module's own error may be one of the status codes already.
    const bool isStatus = code >= CaToolServer::NO_NORMAL_VECTORS && code <= CaToolServer::NO_CONNECTION;
    return isStatus ? code : static_cast<int>(CaToolServer::REMOTE_ERROR);
}
