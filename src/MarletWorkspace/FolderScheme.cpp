#include "MarletWorkspace/FolderScheme.h"
