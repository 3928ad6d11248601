// Stands in for internal/dbg.h, for the same reason.
#pragma once
#include "vos/dbg.h"
