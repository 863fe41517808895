// What the fuzz targets do with their bytes. A property that doesn't hold ends the process.
#pragma once

#include <string_view>

namespace marlet {

// However the bytes are cut into packets, the same requests or the same mistake come out.
void fuzzHTTPRequestParser(std::string_view bytes);

// Taken for a request and for a reply: what can be read can be written, as one line that reads back as the same
// message; what can't is refused with HelperMessageError.
void fuzzHelperMessage(std::string_view bytes);

// What can be read can be written, and reads back as the same value; what can't is refused with JSONError.
void fuzzJSONValue(std::string_view bytes);

// Taken for a header, an error's body, a date, a page of records and a key: read without harm, and what was read can be
// written and reads back as the same.
void fuzzServerAnswer(std::string_view bytes);

// Both directions: no letter is lost but those of markers, the line ends of a text change nothing else, the result is
// that of the plain patterns, and the work is linear.
void fuzzWikiToMarkdown(std::string_view bytes);
void fuzzMarkdownToWiki(std::string_view bytes);

// No letter is lost, blocks are nested no deeper than they may be, and the line ends of a text don't count.
void fuzzMarkdownBlock(std::string_view bytes);

}  // namespace marlet
