#!/usr/bin/env bash
# The rules of the house that the compiler cannot see: no include climbs by "..", and headers of the operating system and
# of the libraries that wrap it are included in src/platform/ only, those of Qt in src/ui/ only.
# Usage: layers_test.sh PROJECT_FOLDER
set -u
top=$1
system='(unistd|fcntl|dirent|poll|signal|pthread|syslog|termios|spawn|mntent|pwd|grp|fts|ftw|glob|utime|uuid/.*|libmount/.*|blkid/.*|libudev|glib.*|gio/.*|plist/.*|libsecret/.*|sys/.*|linux/.*|netinet/.*|arpa/.*|acl/.*|libintl|langinfo)\.h'
isForbidden() {  # FILE LINE-TEXT
  local layer=${1#"$top"/src/}
  layer=${layer%%/*}
  [[ $2 =~ ^[[:space:]]*#[[:space:]]*include[[:space:]]*[\"\<]([^\"\>]+)[\"\>] ]] || return 1
  local header=${BASH_REMATCH[1]}
  [[ $header == *..* ]] && return 0
  [[ $layer != platform && $header =~ ^$system$ ]] && return 0
  [[ $layer != ui && $header =~ ^Q[A-Z] ]] && return 0
  return 1
}
isForbidden "$top/src/engine/x.cpp" '#include <sys/stat.h>' && isForbidden "$top/src/engine/x.cpp" '#include "../cli/x.h"' &&
  isForbidden "$top/src/cli/x.cpp" '#include <QString>' && ! isForbidden "$top/src/platform/x.cpp" '#include <fcntl.h>' &&
  ! isForbidden "$top/src/engine/x.cpp" '#include "platform/clock.h"' || { echo "the check itself is broken"; exit 1; }

status=0
while IFS=: read -r file line text; do
  if isForbidden "$file" "$text"; then
    echo "$file:$line: forbidden include: $text"
    status=1
  fi
done < <(grep -rnE '^[[:space:]]*#[[:space:]]*include' "$top/src" --include=*.h --include=*.cpp)

exit $status
