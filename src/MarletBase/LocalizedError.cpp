#include "MarletBase/LocalizedError.h"

#include <SQLiteCpp/Exception.h>
#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <system_error>

#include <boost/system/system_error.hpp>

namespace marlet {

std::string localizedDescription(std::exception_ptr error) {
    if (!error) {
        programmingError("localizedDescription was asked for no error.");
    }
    try {
        std::rethrow_exception(error);
    } catch (const LocalizedError& known) {
        return known.errorDescription();
    } catch (const SQLite::Exception& database) {
        return fmt::format("The database reported an error: {}.", database.what());
    } catch (const std::filesystem::filesystem_error& file) {
        return fmt::format("The file {} can't be used: {}.", file.path1().string(), file.code().message());
    } catch (const boost::system::system_error& system) {
        return fmt::format("The operation failed: {}.", system.code().message());
    } catch (const std::system_error& system) {
        // With what couldn't be done, where whoever threw it said so.
        return fmt::format("The operation failed: {}.", system.what());
    } catch (const std::bad_alloc&) {
        return "There isn't enough memory.";
    } catch (const std::exception& other) {
        return fmt::format("The operation failed: {}.", other.what());
    } catch (...) {
        return "The operation failed for an unknown reason.";
    }
}

void programmingError(const char* message) {
    static_cast<void>(std::fprintf(stderr, "marlet: internal error: %s\n", message));
    std::abort();
}

}  // namespace marlet
