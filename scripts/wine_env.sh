# Sourced by the scripts: a private Wine prefix in the build tree, quiet and unattended.
export WINEPREFIX="${MIRT_BUILD:-$PWD/build}/wineprefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
export WINE=/usr/lib/wine/wine64
WINESERVER=/usr/lib/wine/wineserver

# Starts a persistent wineserver for the length of a run (made the prefix if new).
wine_start() {
  mkdir -p "$WINEPREFIX"
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    "$WINE" cmd /c exit >/dev/null 2>&1 || true
  fi
  "$WINESERVER" -p
}

wine_stop() {
  "$WINESERVER" -k >/dev/null 2>&1 || true
}
