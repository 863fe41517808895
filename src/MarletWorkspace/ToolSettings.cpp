#include "MarletWorkspace/ToolSettings.h"
