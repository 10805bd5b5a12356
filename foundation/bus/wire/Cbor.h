#pragma once

#include "foundation/bus/wire/CborReader.h"
#include "foundation/bus/wire/CborWriter.h"
