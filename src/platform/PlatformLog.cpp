#include "PlatformLog.h"

Q_LOGGING_CATEGORY(lcPlatform, "lumen.platform")
