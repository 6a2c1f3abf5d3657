#pragma once

#include "HXLowerLayer.h"
