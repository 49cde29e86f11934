#include <tbrCore/CaObserver.h>

CaObserver::~CaObserver() = default;
