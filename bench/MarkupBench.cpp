// A project's first fetch reads the description of every issue, and edited notes go back in the service's markup.
#include <benchmark/benchmark.h>

#include <random>

#include "MarletBase/Regex.h"
#include "MarletCore/JiraMarkup.h"
#include "MarletCore/MarkdownBlock.h"

namespace marlet {
namespace {

constexpr size_t descriptionCount = 1'000;
constexpr size_t megabyte = 1'000'000;

// What people write into an issue: some prose, steps, a log, a link.
const std::vector<std::string> parts{
    "h2. Steps\n# Open the *list* of orders\n# Press {{Export}}\n## as PDF\n## as text\n",
    "The export _never_ ends when the list holds more than a thousand orders. We saw this with the nightly build and "
    "with the one before it.\n",
    "See [the log|https://x.test/log?id=7] and [https://x.test/orders], from *Tuesday* on.\n",
    "{code:java}\nfor (Order order : orders) {\n    exporter.write(order); // *slow*\n}\n{code}\n",
    "* Customers in Köln and 東京\n** about twenty\n* Support\n",
    "bq. It worked last week.\n\n",
    "||Version||Result||\n|2.3|works|\n|2.4|hangs|\n\n",
    "Nothing in the settings changes it. Restarting helps for an hour or so, then it is the same again.\n\n",
};

std::vector<std::string> wikiDescriptions() {
    std::mt19937 random(5);
    std::vector<std::string> descriptions(descriptionCount);
    for (std::string& description : descriptions) {
        for (size_t count = 4 + random() % 12; count > 0; --count) {
            description += parts[random() % parts.size()];
        }
    }
    return descriptions;
}

std::vector<std::string> markdownDescriptions() {
    std::vector<std::string> descriptions = wikiDescriptions();
    for (std::string& description : descriptions) {
        description = JiraMarkup::markdown(description);
    }
    return descriptions;
}

template <class Work>
void forEachText(benchmark::State& state, const std::vector<std::string>& texts, Work work) {
    size_t bytes = 0;
    for (auto _ : state) {
        for (const std::string& text : texts) {
            bytes += text.size();
            work(text);
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

// Baseline: one search for one of the shorter patterns over the same bytes.
void onePassOverDescriptions(benchmark::State& state) {
    const Regex bold(R"((^|[^\w*`])\*(\S(?:[^*\n]*\S)?)\*(?![\w*]))");
    forEachText(state, wikiDescriptions(),
                [&](const std::string& text) { benchmark::DoNotOptimize(bold.findAll(text).size()); });
}
BENCHMARK(onePassOverDescriptions)->Unit(benchmark::kMillisecond);

void readDescriptions(benchmark::State& state) {
    forEachText(state, wikiDescriptions(),
                [](const std::string& text) { benchmark::DoNotOptimize(JiraMarkup::markdown(text).size()); });
}
BENCHMARK(readDescriptions)->Unit(benchmark::kMillisecond);

void writeDescriptions(benchmark::State& state) {
    forEachText(state, markdownDescriptions(),
                [](const std::string& text) { benchmark::DoNotOptimize(JiraMarkup::wiki(text).size()); });
}
BENCHMARK(writeDescriptions)->Unit(benchmark::kMillisecond);

void readBlocksOfDescriptions(benchmark::State& state) {
    forEachText(state, markdownDescriptions(),
                [](const std::string& text) { benchmark::DoNotOptimize(MarkdownBlock::parse(text).size()); });
}
BENCHMARK(readBlocksOfDescriptions)->Unit(benchmark::kMillisecond);

// A megabyte of one marker after the other, all directions.
void hostileMegabyte(benchmark::State& state) {
    const std::vector<std::string> markers{"*",     "**a ",    "[",      "[a](", "{{a ", "{code:x}", "{code:", "```\n",
                                           "[a|b ", "__a **b", "[http:", "> ",   "+ ",   "- a\n",    ">\n",    " "};
    const std::string& marker = markers.at(static_cast<size_t>(state.range(0)));
    std::string text;
    while (text.size() < megabyte) {
        text += marker;
    }
    state.SetLabel(marker.substr(0, marker.find('\n')));
    forEachText(state, {"\n" + text + "x"}, [](const std::string& hostile) {
        benchmark::DoNotOptimize(JiraMarkup::markdown(hostile).size());
        benchmark::DoNotOptimize(JiraMarkup::wiki(hostile).size());
        benchmark::DoNotOptimize(MarkdownBlock::parse(hostile).size());
    });
}
BENCHMARK(hostileMegabyte)->DenseRange(0, 15)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace marlet
