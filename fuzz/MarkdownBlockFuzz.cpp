#include "MarletCore/MarkdownBlock.h"

#include "FuzzEntries.h"
#include "LetterCount.h"
#include "MarletBase/LocalizedError.h"
#include "MarletBase/Text.h"
#include "PlainMarkup.h"

namespace marlet {
namespace {

constexpr size_t plainLimit = 600;

class Reader {
public:
    LetterCount letters{""};
    int depth = 0;

    void read(const std::vector<MarkdownBlock>& blocks) {
        depth = std::max(depth, ++level);
        for (const MarkdownBlock& block : blocks) {
            std::visit([this](const auto& payload) { read(payload); }, block.payload());
        }
        --level;
    }

private:
    void read(const MarkdownBlock::Heading& heading) { letters.add(heading.text); }
    void read(const MarkdownBlock::Paragraph& paragraph) { letters.add(paragraph.text); }
    void read(const MarkdownBlock::Code& code) { letters.add(code.language.value_or("") + code.text); }
    void read(const MarkdownBlock::Quote& quote) { read(quote.blocks); }
    void read(const MarkdownBlock::List& list) {
        for (const std::vector<MarkdownBlock>& item : list.items) {
            read(item);
        }
    }
    void read(const MarkdownBlock::Rule&) {}

    int level = 0;
};

// A fence drops what stands behind the language.
LetterCount lettersOutsideFences(std::string_view text) {
    LetterCount letters("");
    for (size_t start = 0; start < text.size();) {
        size_t end = std::min(text.find('\n', start), text.size());
        std::string_view line = text.substr(start, end - start);
        bool hasFence = line.find("```") != std::string_view::npos || line.find("~~~") != std::string_view::npos;
        letters.add(hasFence ? "" : line);
        start = end + 1;
    }
    return letters;
}

}  // namespace

void fuzzMarkdownBlock(std::string_view bytes) {
    std::vector<MarkdownBlock> blocks = MarkdownBlock::parse(bytes);
    Reader reader;
    reader.read(blocks);
    if (!reader.letters.holds(lettersOutsideFences(bytes))) {
        programmingError("Letters got lost.");
    }
    if (reader.depth > MarkdownBlock::maximalDepth + 1) {
        programmingError("Blocks are nested deeper than they may be.");
    }
    if (!isValidUTF8(bytes) || bytes.find('\r') != std::string_view::npos) {
        return;
    }
    if (MarkdownBlock::parse(withCarriageReturns(bytes)) != blocks) {
        programmingError("The line ends of a text change its blocks.");
    }
    if (bytes.size() <= plainLimit && bytes.find('\n') == std::string_view::npos) {
        std::optional<MarkdownBlock> expected = plainBlock(bytes);
        if (expected && (blocks.size() != 1 || blocks.front() != *expected)) {
            programmingError("A heading or rule differs from the plain patterns.");
        }
    }
}

}  // namespace marlet
