#!/usr/bin/env bash
# layers.sh MAP: no file includes a header of a layer above its own, and no feature (layer 4) the header
# of another. MAP holds lines "LAYER FILE" made from the lists in src/CMakeLists.txt, "api FILE" for the
# host API. The headers of the transports, quarlo-*.h, are a layer above that, called "links". And no program
# includes headers of another: what two need stands in common/ or display/. Run in the root of the source tree.
set -euo pipefail

declare -A layer_of=()
while read -r layer file; do
    layer_of[$file]=$layer
done <"$1"

problems=0
problem() {
    echo "$*"
    problems=$((problems + 1))
}

# The layer of a file of src/: its own line in the map, else that of the source of the same name.
layer() {
    [[ $1 != quarlo-*.h ]] || { echo links; return; }
    local name=${1%.*}
    echo "${layer_of[$1]-${layer_of[$name.cpp]-}}"
}

# The headers of src/ that a file includes, and those of the transports.
includes() {
    sed -nE 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*["<]([^">]+)[">].*/\1/p' "$1" |
        while read -r header; do
            header=${header##*/}
            [ ! -e "src/$header" ] && [[ $header != quarlo-*.h ]] || echo "$header"
        done
}

# Parts of one feature share a name up to a hyphen: X.h is open to X.cpp and to X-Part.cpp.
same_feature() {
    local user=${1%.*} header=${2%.*}
    [[ $user == "$header" || $user == "$header"-* || $header == "$user"-* ]]
}

check_library_file() {
    local file=$1 own theirs header
    own=$(layer "$file")
    if [ -z "$own" ]; then
        problem "src/$file: stands in no layer of src/CMakeLists.txt"
        return
    fi
    for header in $(includes "src/$file"); do
        theirs=$(layer "$header")
        case $own,$theirs in
            *,) ;;  # reported as a file without a layer
            *,links) problem "src/$file includes $header of the transports" ;;
            0,api) problem "src/$file (layer 0) includes $header of the host API" ;;
            *,0 | *,api) ;;
            api,*) problem "src/$file (host API) includes $header (layer $theirs)" ;;
            4,4) same_feature "$file" "$header" ||
                problem "src/$file (a feature) includes $header of another feature" ;;
            *) [ "$theirs" -le "$own" ] ||
                problem "src/$file (layer $own) includes $header (layer $theirs)" ;;
        esac
    done
}

# neighbours FILE DIRECTORY: the headers outside the directory that a file of it includes, with their path or by a name
# that only they have.
neighbours() {
    sed -nE 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"([^"]+)".*/\1/p' "$1" | while read -r header; do
        if [ -e "$(dirname "$1")/$header" ] || [ -e "$2/$header" ]; then continue; fi
        for directory in common display phone headunit; do
            [[ $header != "$directory/"* && ! -e $directory/$header ]] || echo "$directory/${header##*/}"
        done
    done
}

# outside DIRECTORY ALLOWED [NEIGHBOURS]: files there include only headers of the allowed layers, and of other
# directories only those of the neighbours.
check_outside() {
    local file header theirs
    [ -d "$1" ] || return 0
    while read -r file; do
        for header in $(neighbours "$file" "$1"); do
            [[ " ${3-} " == *" ${header%%/*} "* ]] || problem "$file includes $header (allowed here: ${3-nothing})"
        done
        for header in $(includes "$file"); do
            theirs=$(layer "$header")
            [[ " $2 " == *" $theirs "* ]] ||
                problem "$file includes $header (layer $theirs; allowed here: $2)"
        done
    done < <(find "$1" -name '*.c' -o -name '*.cpp' -o -name '*.h')
}

files=$(cd src && ls -- *.cpp *.h *.def)
for file in $files; do
    check_library_file "$file"
done
check_outside plugins "0"
check_outside links "0 api links"
check_outside common "0 api"
check_outside display "0 api" "common"
check_outside phone "0 2 api links" "common display"
check_outside headunit "0 2 api links" "common display"

echo "layers: $(wc -w <<<"$files") files of src/ checked, $problems problems"
[ "$problems" -eq 0 ]
