#include "MarletWorkspace/HTMLMarkdown.h"
