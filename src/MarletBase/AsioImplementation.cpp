// Asio's own code, compiled once here instead of into every source that uses it.
#include <boost/asio/impl/src.hpp>
