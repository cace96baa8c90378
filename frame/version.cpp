#include "frame/version.h"

const char kVersion[] = TD_BACKEND_VERSION;
