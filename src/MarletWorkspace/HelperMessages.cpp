#include "MarletWorkspace/HelperMessages.h"
