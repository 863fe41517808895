#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "MarletClient/DataFolder.h"

namespace marlet {

// Where agents reach this Marlet, and what they must show: kept between runs, since agents are registered with it.
struct Endpoint {
    int64_t port = 0;
    std::string token;

    // No value before the first serve. Throws DataFolderError for a file that can't be understood.
    static std::optional<Endpoint> load(const DataFolder& folder);
    void save(const DataFolder& folder) const;

    std::string url() const;
};
BOOST_DESCRIBE_STRUCT(Endpoint, (), (port, token))

}  // namespace marlet
