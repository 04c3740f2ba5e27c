#!/bin/sh
# After installing and after removing: tells the dynamic linker which libraries there are.
set -e
case $1 in
  configure | remove) ldconfig -r "${DPKG_ROOT:-/}" ;;
esac
