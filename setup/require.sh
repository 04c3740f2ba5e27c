# shellcheck shell=sh disable=SC2154
# Sourced by the scripts in the root, with $root naming that folder.

# require PURPOSE...: sees to it that the packages which setup/packages lists for these purposes are installed.
# Leaves the script with status 2 where they cannot be.  Writes to standard error only.
require() {
  # On a system without dpkg it is CMake that tells what it does not find.
  command -v dpkg-query >/dev/null || return 0

  wanted=$(for purpose; do awk -v purpose="$purpose" '$1 == purpose { print $2 }' "$root/setup/packages"; done)
  # shellcheck disable=SC2086  # a list of words
  missing=$({
    dpkg-query -W -f '${db:Status-Abbrev} ${Package}\n' $wanted 2>/dev/null || true # it fails when one is unknown
    printf 'wanted %s\n' $wanted
  } | awk '$1 ~ /^.i$/ { have[$2] } $1 == "wanted" && !($2 in have) { printf "%s%s", gap, $2; gap = " " }')
  [ -n "$missing" ] || return 0

  if [ "$(id -u)" = 0 ]; then
    as_root=
  elif command -v sudo >/dev/null && { sudo -n true 2>/dev/null || [ -t 0 ]; }; then
    as_root=sudo
  else
    printf '%s: Debian packages are missing. Install them as root:\n  apt-get install %s\n' "$0" "$missing" >&2
    exit 2
  fi
  printf '%s: installing %s\n' "$0" "$missing" >&2
  # shellcheck disable=SC2086  # a list of words, and a command that may be empty
  if ! { $as_root apt-get -q update && $as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get -q -y --no-install-recommends install $missing; } >&2; then
    printf '%s: could not install the packages. By hand, as root:\n  apt-get install %s\n' "$0" "$missing" >&2
    exit 2
  fi
}
