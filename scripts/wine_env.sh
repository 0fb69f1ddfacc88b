# Sourced by the scripts: a private Wine prefix in the build tree, quiet and unattended.
export WINEPREFIX="${MIRT_BUILD:-$PWD/build}/wineprefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
export WINE=/usr/lib/wine/wine64
WINESERVER=/usr/lib/wine/wineserver

# Starts a persistent wineserver for the length of a run (making the prefix
# if it is new), and Wine's own background services with it: started here,
# with their output sent nowhere, they do not hold open the output pipe of
# a test runner that starts the first Windows program later.
wine_start() {
  mkdir -p "$WINEPREFIX"
  "$WINESERVER" -p
  "$WINE" cmd /c exit </dev/null >/dev/null 2>&1 || true
}

wine_stop() {
  "$WINESERVER" -k >/dev/null 2>&1 || true
}
