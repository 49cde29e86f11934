#pragma once

/// The status code (CaToolServer::getMessage()) for an error number that a server sent in an error packet.
int statusOfRemoteError(int code);
