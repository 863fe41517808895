// What nearly every test includes; parsed once.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../../src/MarletBase/Precompiled.h"
