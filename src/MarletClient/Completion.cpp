#include "MarletClient/Completion.h"

#include <fmt/format.h>

#include "MarletClient/CompletionTree.h"

namespace marlet {
namespace {

// Each script has a table of the commands, which the function `_marlet_command` or `__marlet_command` looks up, and a
// function that walks the words up to the cursor. They share their variables:
// at: the command so far, such as "task list". wanted: the option whose value comes next. place: the number of
// arguments so far. Found by these: subcommands, switches (the options), valued (those with a value), choices (the
// values that are taken) and folders (not empty when a folder is wanted).

constexpr const char* bashWalk = R"script(
_marlet() {
    local at= wanted= place=0 literal= prefix= current=${COMP_WORDS[COMP_CWORD]} word
    local -a subcommands switches valued choices folders offers=()
    local -i index
    COMPREPLY=()
    _marlet_command
    for ((index = 1; index < COMP_CWORD; index++)); do
        word=${COMP_WORDS[index]}
        if [[ $wanted ]]; then
            # The shell takes "--list=next" for three words.
            [[ $word == = ]] || wanted=
        elif [[ $literal ]]; then
            ((place += 1))
        elif [[ $word == -- ]]; then
            literal=yes
        elif [[ $word == -?* ]]; then
            [[ " ${valued[*]} " == *" $word "* ]] && wanted=$word
        elif ((place == 0)) && [[ " ${subcommands[*]} " == *" $word "* ]]; then
            at=${at:+$at }$word
            _marlet_command
        else
            ((place += 1))
        fi
    done
    if [[ $wanted && $current == = ]]; then
        current=
    elif [[ ! $wanted && ! $literal && $current == --*=* ]]; then
        wanted=${current%%=*}
        prefix=$wanted=
        current=${current#*=}
    fi
    _marlet_command
    if ((${#folders[@]})); then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -P "$prefix" -d -- "$current")
        return
    fi
    if [[ $wanted ]]; then
        offers=("${choices[@]}")
    elif [[ $current == -* && ! $literal ]]; then
        offers=("${switches[@]}")
    else
        offers=("${choices[@]}")
        ((place == 0)) && [[ ! $literal ]] && offers+=("${subcommands[@]}")
    fi
    for word in "${offers[@]}"; do
        [[ $word == "$current"* ]] && COMPREPLY+=("$prefix$word")
    done
}
complete -F _marlet marlet
)script";

constexpr const char* zshWalk = R"script(
_marlet() {
    local at= wanted= literal= word
    local -i place=0 index
    local -a subcommands subcommandHelp switches switchHelp valued choices folders described
    _marlet_command
    for ((index = 2; index < CURRENT; index++)); do
        word=${words[index]}
        if [[ -n $wanted ]]; then
            wanted=
        elif [[ -n $literal ]]; then
            ((place += 1))
        elif [[ $word == -- ]]; then
            literal=yes
        elif [[ $word == -?* ]]; then
            ((${valued[(Ie)$word]})) && wanted=$word
        elif ((place == 0 && ${subcommands[(Ie)$word]})); then
            at=${at:+$at }$word
            _marlet_command
        else
            ((place += 1))
        fi
    done
    if [[ -z $wanted && -z $literal && ${words[CURRENT]} == --*=* ]]; then
        wanted=${words[CURRENT]%%=*}
        compset -P 1 '*='
    fi
    _marlet_command
    if ((${#folders})); then
        _files -/
        return
    fi
    if [[ -z $wanted && -z $literal && ${words[CURRENT]} == -* ]]; then
        for ((index = 1; index <= ${#switches}; index++)); do
            described+=("${switches[index]}:${switchHelp[index]}")
        done
        _describe -o option described
        return
    fi
    if [[ -z $wanted && -z $literal ]] && ((place == 0 && ${#subcommands})); then
        for ((index = 1; index <= ${#subcommands}; index++)); do
            described+=("${subcommands[index]}:${subcommandHelp[index]}")
        done
        _describe command described
    fi
    compadd -a choices
}
if [[ ${funcstack[1]} == _marlet ]]; then
    _marlet "$@"
else
    compdef _marlet marlet
fi
)script";

constexpr const char* fishWalk = R"script(
function __marlet_complete
    set -l current (commandline -ct)
    set -l words (commandline -opc)
    set -l at ''
    set -l wanted ''
    set -l place 0
    set -l literal ''
    set -l prefix ''
    set -l subcommands
    set -l subcommandHelp
    set -l switches
    set -l switchHelp
    set -l valued
    set -l choices
    set -l folders
    set -e words[1]
    __marlet_command
    for word in $words
        if test -n "$wanted"
            set wanted ''
        else if test -n "$literal"
            set place (math $place + 1)
        else if test "$word" = --
            set literal yes
        else if string match -q -- '-?*' "$word"
            contains -- "$word" $valued
            and set wanted "$word"
        else if test $place = 0
            and contains -- "$word" $subcommands
            set at (string trim -- "$at $word")
            __marlet_command
        else
            set place (math $place + 1)
        end
    end
    if test -z "$wanted$literal"
        and string match -q -- '--*=*' "$current"
        set -l halves (string split -m 1 = -- "$current")
        set wanted $halves[1]
        set prefix "$wanted="
        set current $halves[2]
    end
    __marlet_command
    if test -n "$folders"
        for folder in (__fish_complete_directories "$current" '')
            printf '%s%s\n' "$prefix" "$folder"
        end
        return
    end
    if test -z "$wanted$literal"
        and string match -q -- '-*' "$current"
        for index in (seq (count $switches))
            printf '%s\t%s\n' $switches[$index] "$switchHelp[$index]"
        end
        return
    end
    if test -z "$wanted$literal" -a $place = 0
        for index in (seq (count $subcommands))
            printf '%s\t%s\n' $subcommands[$index] "$subcommandHelp[$index]"
        end
    end
    for choice in $choices
        printf '%s%s\n' "$prefix" $choice
    end
end
complete -c marlet -f -a '(__marlet_complete)'
)script";

// How a shell writes what the table of commands is made of. Everything from the tree is quoted, so that it means
// itself.
class Dialect {
public:
    explicit Dialect(Shell tableShell) : shell(tableShell) {}

    bool showsHelp() const { return shell != Shell::bash; }

    std::string quoted(const std::string& text) const {
        std::string result = "'";
        for (char character : text) {
            if (character == '\'') {
                result += shell == Shell::fish ? "\\'" : "'\\''";
            } else if (character == '\\' && shell == Shell::fish) {
                result += "\\\\";
            } else {
                result += character;
            }
        }
        return result + "'";
    }

    std::string list(const std::string& name, const std::vector<std::string>& texts) const {
        std::string words;
        for (const std::string& text : texts) {
            words += (words.empty() ? "" : " ") + quoted(text);
        }
        return shell == Shell::fish ? fmt::format("set {} {}\n", name, words) : fmt::format("{}=({})\n", name, words);
    }

    std::string functionBegin() const {
        return shell == Shell::fish ? "function __marlet_command --no-scope-shadowing\n" : "_marlet_command() {\n";
    }
    std::string functionEnd() const { return shell == Shell::fish ? "end\n" : "}\n"; }
    std::string caseOf(const std::string& variable) const {
        return shell == Shell::fish ? fmt::format("switch \"${}\"\n", variable)
                                    : fmt::format("case ${} in\n", variable);
    }
    std::string caseLabel(const std::string& pattern) const {
        return shell == Shell::fish ? fmt::format("case {}\n", pattern) : pattern + ")\n";
    }
    std::string labelEnd() const { return shell == Shell::fish ? "" : ";;\n"; }
    std::string anything() const { return shell == Shell::fish ? "'*'" : "*"; }
    std::string caseEnd() const { return shell == Shell::fish ? "end\n" : "esac\n"; }

private:
    Shell shell;
};

std::string indented(const std::string& text) {
    std::string result;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start) + 1;
        result += "    " + text.substr(start, end - start);
        start = end;
    }
    return result;
}

// One branch of a choice; the pattern is written as it stands.
std::string branch(const std::string& pattern, const std::string& body, const Dialect& dialect) {
    return dialect.caseLabel(pattern) + indented(body + dialect.labelEnd());
}

std::string cases(const std::string& variable, const std::string& branches, const Dialect& dialect) {
    return branches.empty() ? "" : dialect.caseOf(variable) + branches + dialect.caseEnd();
}

// Empty when nothing is known of the value.
std::string valueText(const CompletionValue& value, const Dialect& dialect) {
    if (value.isFolder) {
        return dialect.list("folders", {"yes"});
    }
    return value.choices.empty() ? "" : dialect.list("choices", value.choices);
}

// What may stand behind the options, and in the places of the arguments.
std::string valuesText(const CompletionCommand& command, const Dialect& dialect) {
    std::string places;
    for (size_t place = 0; place < command.arguments.size(); ++place) {
        const CompletionCommand::Argument& argument = command.arguments[place];
        std::string value = valueText(argument.value, dialect);
        if (!value.empty()) {
            places += branch(argument.isRepeated ? dialect.anything() : fmt::format("{}", place), value, dialect);
        }
    }
    std::string options;
    for (const CompletionCommand::Option& option : command.options) {
        std::string value = option.value ? valueText(*option.value, dialect) : "";
        for (const std::string& name : option.names) {
            options += value.empty() ? "" : branch(dialect.quoted(name), value, dialect);
        }
    }
    options += places.empty() ? "" : branch(dialect.quoted(""), cases("place", places, dialect), dialect);
    return cases("wanted", options, dialect);
}

std::string commandText(const CompletionCommand& command, const Dialect& dialect) {
    std::vector<std::string> subcommands;
    std::vector<std::string> subcommandHelp;
    for (const CompletionCommand::Child& child : command.commands) {
        subcommands.push_back(child.name);
        subcommandHelp.push_back(child.help);
    }
    std::vector<std::string> switches;
    std::vector<std::string> switchHelp;
    std::vector<std::string> valued;
    for (const CompletionCommand::Option& option : command.options) {
        for (const std::string& name : option.names) {
            switches.push_back(name);
            switchHelp.push_back(option.help);
            if (option.value) {
                valued.push_back(name);
            }
        }
    }
    std::string text = dialect.list("subcommands", subcommands) + dialect.list("switches", switches);
    if (dialect.showsHelp()) {
        text += dialect.list("subcommandHelp", subcommandHelp) + dialect.list("switchHelp", switchHelp);
    }
    text += dialect.list("valued", valued) + valuesText(command, dialect);
    return branch(dialect.quoted(command.path), text, dialect);
}

std::string table(const CLI::App& root, const Dialect& dialect) {
    std::string branches;
    for (const CompletionCommand& command : completionCommands(root)) {
        branches += commandText(command, dialect);
    }
    std::string body = dialect.list("choices", {}) + dialect.list("folders", {}) + cases("at", branches, dialect);
    return dialect.functionBegin() + indented(body) + dialect.functionEnd();
}

const char* walk(Shell shell) {
    switch (shell) {
        case Shell::bash:
            return bashWalk;
        case Shell::zsh:
            return zshWalk;
        case Shell::fish:
            break;
    }
    return fishWalk;
}

}  // namespace

std::string completionScript(Shell shell, const CLI::App& root) {
    // The first line of a file that zsh loads by itself says for which command.
    std::string head = shell == Shell::zsh ? "#compdef marlet\n" : "";
    head += "# Completes the commands of marlet, by which it was made: do not edit.\n\n";
    return head + table(root, Dialect(shell)) + walk(shell);
}

}  // namespace marlet
