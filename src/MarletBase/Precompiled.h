// What nearly every source of the project includes; parsed once.
#pragma once

#include <algorithm>
#include <array>
#include <boost/asio.hpp>
#include <boost/describe.hpp>
#include <boost/json.hpp>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>
