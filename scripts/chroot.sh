#!/usr/bin/env bash
# Runs commands of the project on another release of Debian, in a chroot of it. As root.
#
#   scripts/chroot.sh [RELEASE [COMMAND]]    for example scripts/chroot.sh trixie scripts/demo.sh
#
# RELEASE is trixie unless another one is named. Without a command, the demo and the tests are run. The chroot is made at
# the first use, in build/chroot-RELEASE; the commands run in a copy of what is committed, whose builds stay from one use
# to the next.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in
  --help) sed -n '2,8s/^# \{0,1\}//p' "$0"; exit 0 ;;
esac
release=${1:-trixie}
command=${2:-"scripts/demo.sh && scripts/test.sh"}
root=$PWD/build/chroot-$release

if [ ! -e "$root/made" ]; then
  command -v debootstrap >/dev/null || apt-get -q -y --no-install-recommends install debootstrap
  rm -rf --one-file-system "$root"  # Of a chroot that was not finished, in which /proc may still be mounted.
  site=$(apt-get indextargets --format '$(SITE)' | head -1)  # From where this system has its own packages.
  debootstrap --variant=minbase --include=ca-certificates,git "$release" "$root" "$site"
  # Whom this machine trusts to fetch from.
  [ ! -d /usr/local/share/ca-certificates ] || cp -r /usr/local/share/ca-certificates "$root/usr/local/share/"
  chroot "$root" update-ca-certificates
  touch "$root/made"
fi

mounted=()
cleanUp() {
  for point in "${mounted[@]}"; do
    umount -l "$point"
  done
}
trap cleanUp EXIT
for point in dev proc; do
  mount --rbind "/$point" "$root/$point"
  mount --make-rslave "$root/$point"
  mounted+=("$root/$point")
done

[ -e "$root/quillet/.git" ] || git clone -q --no-checkout . "$root/quillet"
git -C "$root/quillet" fetch -q "$PWD" HEAD
git -C "$root/quillet" reset -q --hard FETCH_HEAD  # Leaves alone what has not changed, so that only the rest is built.
chroot "$root" /usr/bin/env -i HOME=/root TERM=dumb PATH=/usr/sbin:/usr/bin:/sbin:/bin \
  bash -c "cd /quillet && { $command; }"
