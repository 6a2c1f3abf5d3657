#pragma once

// A lower layer that reaches up: the include-direction check must refuse it.
#include "HXUpperLayer.h"
