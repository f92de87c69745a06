#include "XNode.h"
// XNode is header-only apart from this unit, which keeps one object file per class.
