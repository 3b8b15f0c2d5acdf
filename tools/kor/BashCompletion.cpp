#include "tools/kor/BashCompletion.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace kor::tool {

namespace {

// The script needs nothing but bash itself, and calls no program, so that it answers at once and serves where
// bash-completion is not installed. Tables take the places of @COMMANDS@ and @VALUES@.
constexpr std::string_view kScript = R"(# shellcheck shell=bash
# Completion of the command line of kor in bash 4.4 or later. Made by `kor --bash-completion`.

# Sets what a command takes. An option is its names, with | between them, then = if it takes a value and + if it may be
# given again. An argument is its name, then + if there may be several.
_kor_command() {
    commands='' options='' arguments=''
    case $1 in
@COMMANDS@
    esac
}

# Sets what may stand for a value, by the last name of its option or that of its argument: words, files with these endings,
# units behind a number.
_kor_values() {
    kind='' words='' endings='' units=''
    case $1 in
@VALUES@
    esac
}

# Sets unquoted: a word of the command line without its quotation marks and backslashes.
_kor_unquote() {
    local quote='' c i
    unquoted=''
    for ((i = 0; i < ${#1}; ++i)); do
        c=${1:i:1}
        if [[ -n $quote && $c == "$quote" ]]; then
            quote=''
        elif [[ $c == \\ && $quote != \' ]]; then
            i=$((i + 1))
            c=${1:i:1}
            [[ -z $quote || $c == [\\\"\$\`] ]] || unquoted+=\\
            unquoted+=$c
        elif [[ -z $quote && $c == [\'\"] ]]; then
            quote=$c
        else
            unquoted+=$c
        fi
    done
}

# Sets line: the words, which bash has parted at = : @ as well; here: the place of the one that is completed, of which line
# has the part in front of the cursor; parted: so much of that as bash does not replace.
_kor_split() {
    local operator='^[<>&|]+$' breaks='^[=:@]+$' rest=$COMP_LINE before='' at=0 i gap piece part
    line=() here=-1 parted=''
    for i in "${!COMP_WORDS[@]}"; do
        piece=${COMP_WORDS[i]}
        gap=${rest%%[![:space:]]*}
        rest=${rest:${#gap}}
        rest=${rest:${#piece}}
        at=$((at + ${#gap}))
        part=$piece
        if ((i == COMP_CWORD)); then
            part=${piece:0:COMP_POINT > at ? COMP_POINT - at : 0}
        fi
        at=$((at + ${#piece}))
        if [[ -n $gap || -z $before || $before =~ $operator || $piece =~ $operator ]]; then
            line+=("$part")
        elif ((i <= COMP_CWORD || here != ${#line[@]} - 1)); then
            ((i != COMP_CWORD)) || [[ $part =~ $breaks ]] || parted=${line[-1]}
            line[-1]+=$part
            [[ $i -ne $COMP_CWORD || ! $part =~ $breaks ]] || parted=${line[-1]}
        fi
        ((i != COMP_CWORD)) || here=$((${#line[@]} - 1))
        before=$piece
    done
}

# Sets found: the option that has this name, or nothing.
_kor_find() {
    local option
    found=''
    for option in $options; do
        if [[ "|${option%%[=+]*}|" == *"|$1|"* ]]; then
            found=$option
        fi
    done
}

# Offers those of the words that begin with what is there.
_kor_words() {
    local word
    for word in $1; do
        if [[ $word == "$current"* ]]; then
            offers+=("$word")
        fi
    done
}

# Offers directories, and files with one of the endings; when there are none and the file is there to be read, every file.
_kor_files() {
    local from=$current name typed ending unlike
    local -a names=() others=()
    if [[ $from == \~/* ]]; then
        from=$HOME/${from#\~/}
    fi
    mapfile -d '' names < <(
        set +f
        shopt -s nullglob
        shopt -u failglob dotglob nocaseglob
        GLOBIGNORE=''
        printf '%s\0' "$from"*
    )
    for name in "${names[@]}"; do
        typed=$current${name:${#from}}
        if [[ -d $name ]]; then
            [[ $name == */. || $name == */.. || $name == . || $name == .. ]] || offers+=("$typed")
        elif [[ -n $name && $kind != directory ]]; then
            unlike=$endings
            for ending in $endings; do
                if [[ ${name,,} == *."$ending" ]]; then
                    unlike=''
                fi
            done
            if [[ -z $unlike ]]; then
                offers+=("$typed")
            else
                others+=("$typed")
            fi
        fi
    done
    if ((${#offers[@]} == 0)) && [[ $kind == file ]]; then
        offers=("${others[@]}")
    fi
    compopt -o filenames
}

# Offers the sensors whose parameter files are in the directory that --prm names.
_kor_sensors() {
    local from=$prm variable='^\$\{?([A-Za-z_][A-Za-z_0-9]*)\}?(/.*)?$' name words=''
    local -a names=()
    if [[ $from == \~ || $from == \~/* ]]; then
        from=$HOME${from#\~}
    elif [[ $from =~ $variable ]]; then
        name=${BASH_REMATCH[1]}
        from=${!name-}${BASH_REMATCH[2]}
    fi
    mapfile -d '' names < <(
        set +f
        shopt -s nullglob
        shopt -u failglob
        GLOBIGNORE=''
        printf '%s\0' "$from"/Tg*.prm
    )
    for name in "${names[@]}"; do
        name=${name##*/Tg}
        name=${name%.prm}
        if [[ $name =~ ^-?[0-9]+$ ]]; then
            words+=" $name"
        fi
    done
    _kor_words "$words"
}

# Offers the words that the list has not yet, behind those that it has.
_kor_list() {
    local listed='' word
    if [[ $current == *,* ]]; then
        listed=${current%,*},
    fi
    for word in $words; do
        if [[ ",$listed" != *",$word,"* && $listed$word == "$current"* ]]; then
            offers+=("$listed$word")
        fi
    done
    compopt -o nospace
}

# Offers words with = behind them, and units behind a number.
_kor_assignment() {
    local number='^([0-9]*\.?[0-9]+|[0-9]+\.)[a-z]*$' word
    for word in $words; do
        if [[ $current != *=* && $word == "$current"* ]]; then
            offers+=("$word=")
        fi
    done
    if ((${#offers[@]} > 0)); then
        compopt -o nospace
    elif [[ $current =~ $number ]]; then
        for word in $units; do
            if [[ ${current%%[a-z]*}$word == "$current"* ]]; then
                offers+=("${current%%[a-z]*}$word")
            fi
        done
    fi
}

_kor_value() {
    _kor_values "$1"
    case $kind in
    file | output | directory)
        _kor_words "$words"
        _kor_files
        ;;
    sensor) _kor_sensors ;;
    list) _kor_list ;;
    assignment) _kor_assignment ;;
    *) _kor_words "$words" ;;
    esac
}

_kor() {
    local IFS=$' \t\n' redirection='^[0-9]*[<>&]+$'
    local commands options arguments kind words endings units unquoted found
    local here parted current word name option
    local command=kor waiting='' ended='' redirected='' used=' ' prm='' given=0 i
    local -a line=() offers=() at=()
    COMPREPLY=()
    _kor_split
    _kor_command kor
    for ((i = 1; i < ${#line[@]}; ++i)); do
        if ((i == here)); then
            at=("$command" "$waiting" "$ended" "$redirected" "$given")
            waiting='' redirected=''
            continue
        fi
        _kor_unquote "${line[i]}"
        word=$unquoted
        if [[ ${line[i]} =~ $redirection ]]; then
            redirected=1
        elif [[ -n $redirected ]]; then
            redirected=''
        elif [[ -n $waiting ]]; then
            [[ $waiting != --prm= ]] || prm=$word
            waiting=''
        elif [[ -z $ended && $word == -- ]]; then
            ended=1
        elif [[ -z $ended && $word == -?* ]]; then
            _kor_find "${word%%=*}"
            used+="$found "
            if [[ $found == *=* && $word != *=* ]]; then
                waiting=$found
            elif [[ $found == --prm= ]]; then
                prm=${word#*=}
            fi
        elif [[ " $commands " == *" $word "* ]]; then
            command+=" $word"
            _kor_command "$command"
            used=' '
        else
            given=$((given + 1))
        fi
    done
    command=${at[0]} waiting=${at[1]} ended=${at[2]} redirected=${at[3]} given=${at[4]}
    _kor_command "$command"
    _kor_unquote "$parted"
    parted=$unquoted
    _kor_unquote "${line[here]}"
    current=$unquoted
    if [[ ${line[here]} =~ $redirection ]]; then
        redirected=1 current=''
    fi

    name=''
    if [[ -n $redirected ]]; then
        kind='file' endings=''
        _kor_files
    elif [[ -n $waiting ]]; then
        waiting=${waiting%%[=+]*}
        _kor_value "$command ${waiting##*|}"
    elif [[ -z $ended && $current == --*=* ]]; then
        name=${current%%=*}=
        current=${current#*=}
        _kor_find "${name%=}"
        option=${found%%[=+]*}
        if [[ $found == *=* ]]; then
            _kor_value "$command ${option##*|}"
        fi
    elif [[ -n $ended || $current != -* ]]; then
        _kor_words "$commands"
        found=''
        for word in $arguments; do
            if ((given == 0)) || [[ $word == *+ ]]; then
                found=$word
                break
            fi
            given=$((given - 1))
        done
        if [[ -n $found ]]; then
            _kor_value "$command ${found%+}"
        elif [[ -z $commands$current$ended ]]; then
            current=--
        fi
    fi
    if [[ -z $ended && $current == -* && -z $waiting && -z $name && -z $redirected ]]; then
        for option in $options; do
            if [[ $option == *+ || $used != *" $option "* ]]; then
                option=${option%%[=+]*}
                _kor_words "${option//|/ }"
            fi
        done
    fi
    for word in "${offers[@]}"; do
        word=$name$word
        COMPREPLY+=("${word#"$parted"}")
    done
}

complete -F _kor kor
)";

// What is in single quotes of the shell.
std::string inShellQuotes(const std::string& text)
{
    return "'" + text + "'";
}

void addCommand(const Described& command, std::string& table)
{
    std::vector<std::string> options;
    std::vector<std::string> arguments;
    for (const DescribedOption& option : command.options) {
        const char* const again = option.repeatable ? "+" : "";
        if (option.isArgument()) {
            arguments.push_back(option.names.front() + again);
        } else {
            options.push_back(
                fmt::format("{}{}{}", fmt::join(option.names, "|"), option.takesValue() ? "=" : "", again));
        }
    }
    std::vector<std::string> commands;
    for (const auto& sub : command.below) {
        commands.push_back(sub->name.substr(command.name.size() + 1));
    }
    table += fmt::format("    {})\n", inShellQuotes(command.name));
    for (const auto& [name, words] :
         {std::pair{"commands", &commands}, std::pair{"options", &options}, std::pair{"arguments", &arguments}}) {
        if (!words->empty()) {
            table += fmt::format("        {}={}\n", name, inShellQuotes(fmt::format("{}", fmt::join(*words, " "))));
        }
    }
    table += "        ;;\n";
    for (const auto& sub : command.below) {
        addCommand(*sub, table);
    }
}

// The settings for a kind of value, and what they are for.
using Settings = std::vector<std::pair<std::string, std::vector<std::string>>>;

const char* nameOf(Values::Kind kind)
{
    switch (kind) {
    case Values::Kind::plain:
        break;
    case Values::Kind::file:
        return "file";
    case Values::Kind::output:
        return "output";
    case Values::Kind::directory:
        return "directory";
    case Values::Kind::sensorId:
        return "sensor";
    case Values::Kind::list:
        return "list";
    case Values::Kind::assignment:
        return "assignment";
    }
    return "";
}

void addValues(const Described& command, Settings& settings)
{
    for (const DescribedOption& option : command.options) {
        const Values& values = option.values;
        std::string text;
        if (*nameOf(values.kind) != '\0') {
            text += fmt::format(" kind={}", inShellQuotes(nameOf(values.kind)));
        }
        for (const auto& [name, words] : {std::pair{"words", &values.words}, std::pair{"endings", &values.endings},
                                          std::pair{"units", &values.units}}) {
            if (!words->empty()) {
                text += fmt::format(" {}={}", name, inShellQuotes(fmt::format("{}", fmt::join(*words, " "))));
            }
        }
        if (text.empty()) {
            continue;
        }
        auto at =
            std::find_if(settings.begin(), settings.end(), [&text](const auto& known) { return known.first == text; });
        if (at == settings.end()) {
            at = settings.insert(at, {text, {}});
        }
        at->second.push_back(inShellQuotes(command.name + " " + option.names.back()));
    }
    for (const auto& sub : command.below) {
        addValues(*sub, settings);
    }
}

} // namespace

std::string bashCompletion(const Described& program)
{
    std::string commands;
    addCommand(program, commands);
    Settings settings;
    addValues(program, settings);
    std::string values;
    for (const auto& [text, names] : settings) {
        values += fmt::format("    {})\n       {}\n        ;;\n", fmt::join(names, " | "), text);
    }
    std::string script(kScript);
    for (const auto& [place, table] :
         {std::pair<std::string, std::string*>{"@COMMANDS@\n", &commands}, {"@VALUES@\n", &values}}) {
        script.replace(script.find(place), place.size(), *table);
    }
    return script;
}

} // namespace kor::tool
