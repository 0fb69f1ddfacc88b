#!/usr/bin/env bash
# Checks the runtime's layers: a file never includes a header of a layer above its own,
# <windows.h> is included only by the sources of platform/windows, and the stores'
# internals only by their owners. Layers, bottom up: platform (and include/, the
# exported API, which any file may include); core; output, ipc and autodump; startup.
# Usage: check_layers.sh [source root]. Prints each offence; exit status 1 if any.
set -euo pipefail
root=${1:-$(dirname "$0")/..}
cd "$root"

declare -A rank=([include]=0 [platform]=0 [platform/posix]=0 [platform/windows]=0 [core]=1
                 [output]=2 [ipc]=2 [autodump]=2 [startup]=3)

folders="include platform platform/posix platform/windows core output ipc autodump startup"
declare -A header_folder
for folder in $folders; do
    for header in "$folder"/*.h; do
        [ -e "$header" ] && header_folder[$(basename "$header")]=$folder
    done
done

status=0
for folder in $folders; do
    for file in "$folder"/*.h "$folder"/*.cpp; do
        [ -e "$file" ] || continue
        while IFS= read -r included; do
            if [ "$included" = "windows.h" ] || [ "$included" = "windows_api.h" ]; then
                # Headers of platform/windows reach portable code (os_lock.h
                # through threads.h): only its sources may include it.
                if [ "$folder" != platform/windows ] || { [ "${file%.h}" != "$file" ] && [ "$file" != platform/windows/windows_api.h ]; }; then
                    echo "$file: includes $included outside the sources of platform/windows"
                    status=1
                fi
                continue
            fi
            if [ "$included" = "internals.h" ]; then
                case $file in
                    core/point_table.cpp | core/trace.cpp | core/index_file.cpp | core/internals.h) ;;
                    *)
                        echo "$file: includes internals.h, which is for the stores' own files and tests"
                        status=1
                        ;;
                esac
            fi
            owner=${header_folder[$included]:-}
            [ -n "$owner" ] || continue
            if [ "${rank[$owner]}" -gt "${rank[$folder]}" ]; then
                echo "$file: includes $owner/$included, a layer above $folder"
                status=1
            fi
        done < <(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]\([^">]*\)[">].*/\1/p' "$file")
    done
done
exit $status
