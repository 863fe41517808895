#include "MarletWorkspace/ToolLocator.h"
