#!/usr/bin/env bash
# Checks the runtime's layers: a file never includes a header of a layer above its own,
# <windows.h> is included only by the sources of platform/windows, and the stores'
# internals only by their owners. Layers, bottom up: platform (and include/, the
# exported API, which any file may include); core; output, ipc and autodump; startup.
# Includes are written from the source root ("core/point_table.h"), so the folder of
# each included header is in its name; a quoted include without a folder is an offence.
# Usage: check_layers.sh [source root]. Prints each offence; exit status 1 if any.
set -euo pipefail
root=${1:-$(dirname "$0")/..}
cd "$root"

declare -A rank=([include]=0 [platform]=0 [platform/posix]=0 [platform/windows]=0 [core]=1
                 [output]=2 [ipc]=2 [autodump]=2 [startup]=3)

folders="include platform platform/posix platform/windows core output ipc autodump startup"
status=0
offence() { echo "$1"; status=1; }
for folder in $folders; do
    for file in "$folder"/*.h "$folder"/*.cpp; do
        [ -e "$file" ] || continue
        while IFS= read -r line; do
            included=$(sed 's/^[^<"]*[<"]\([^">]*\)[">].*/\1/' <<<"$line")
            case $line in
                *'<'*)
                    if [ "$included" = windows.h ] && [ "$folder" != platform/windows ]; then
                        offence "$file: includes <windows.h> outside platform/windows"
                    elif [ "$included" = windows.h ] && [ "${file%.h}" != "$file" ] &&
                         [ "$file" != platform/windows/windows_api.h ]; then
                        # Headers of platform/windows reach portable code (os_lock.h
                        # through threads.h): only its sources may include it.
                        offence "$file: a header that includes <windows.h>"
                    fi
                    continue ;;
            esac
            [ "$included" = mirt64.h ] && continue
            owner=$(dirname "$included")
            if [ -z "${rank[$owner]:-}" ]; then
                offence "$file: includes \"$included\", not a runtime header named from the source root"
                continue
            fi
            case $included in
                platform/windows/windows_api.h)
                    if [ "$folder" != platform/windows ] || [ "${file%.h}" != "$file" ]; then
                        offence "$file: includes $included outside the sources of platform/windows"
                    fi ;;
                core/internals.h)
                    case $file in
                        core/point_table.cpp | core/trace.cpp | core/index_file.cpp) ;;
                        *) offence "$file: includes core/internals.h, which is for the stores' own files and tests" ;;
                    esac ;;
            esac
            if [ "${rank[$owner]}" -gt "${rank[$folder]}" ]; then
                offence "$file: includes $included, a layer above $folder"
            fi
        done < <(grep -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]' "$file" || true)
    done
done
exit $status
