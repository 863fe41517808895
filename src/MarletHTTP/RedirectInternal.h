#pragma once

#include "MarletHTTP/HTTPTransport.h"

namespace marlet {

// The name of the server in texts for the user: without the port where it is the scheme's own.
std::string serverOf(const URL& url);
// The same with the scheme in front: "https://tasks.example:8443".
std::string originName(const URL& url);

// Whether the status sends the client elsewhere. A 304 with a Location doesn't.
bool isRedirect(int status);

// The request to send next when the server points to `target`, an absolute URL.
//
// Throws NetworkError of the kind redirect where following would lose a change or give a secret away: a write that
// would turn into a read, a write or credentials for another scheme, host or port, and the way from https to http.
URLRequest redirected(URLRequest request, int status, std::string_view target);

}  // namespace marlet
