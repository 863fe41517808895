#include "MarletWorkspace/GitCommandsInternal.h"
