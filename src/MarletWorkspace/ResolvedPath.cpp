#include "MarletWorkspace/ResolvedPath.h"
