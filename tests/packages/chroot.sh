# Sourced by the scripts beside it: a Debian system in a folder, which leaves the machine that it runs on alone.
# shellcheck shell=bash

# apart [OPTION ...] COMMAND ...: runs a command whose mounts and processes are in namespaces of their own. They end with
# it, and with this shell, however that comes: so it must not run in a part of a pipeline.
apart() {
  setpriv --pdeathsig KILL unshare --mount --pid --fork --kill-child --ipc --uts "$@" &
  wait $! # which a signal ends, where it would not end what runs in the foreground
}

# Where this PC's apt has Debian from.
mirror() {
  local found
  found=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' | sort -u | head -n 1)
  [ -n "$found" ] || die 3 "apt knows no mirror of Debian (apt-get update?)"
  echo "$found"
}

# fresh_system SUITE FOLDER: a bare Debian in the folder, unpacked from build/systems/SUITE.tar, which is made when it is not there.
fresh_system() {
  local suite=$1 folder=$2 from
  local base=build/systems/$suite.tar
  if [ ! -e "$base" ]; then
    from=$(mirror)
    mkdir -p build/systems
    rm -rf --one-file-system "build/systems/$suite"
    echo "Fetching a bare Debian ($suite) ..." >&2
    apart debootstrap --variant=minbase "$suite" "build/systems/$suite" "$from" >"build/systems/$suite.log" 2>&1 ||
      die 3 "debootstrap failed; its whole output is in build/systems/$suite.log"
    tar --create --file "$base.part" --numeric-owner --directory "build/systems/$suite" .
    mv "$base.part" "$base"
    rm -rf --one-file-system "build/systems/$suite"
  fi
  mkdir -p "$folder"
  tar --extract --file "$base" --numeric-owner --directory "$folder"
  echo force-unsafe-io >"$folder/etc/dpkg/dpkg.cfg.d/throwaway" # it need not outlive a power cut
  cp /etc/resolv.conf /etc/hosts "$folder/etc/" # the mirror's name is found as it is here
  printf '#!/bin/sh\nexit 101\n' >"$folder/usr/sbin/policy-rc.d" # nothing is started by what is installed
  chmod 755 "$folder/usr/sbin/policy-rc.d"
}

# inside FOLDER [--alone] COMMAND ...: runs a command in that system. With --alone its network is a loopback interface only.
inside() {
  local folder=$1 loopback=:
  local -a net=()
  shift
  if [ "$1" = --alone ]; then
    net=(--net) loopback='ip link set lo up'
    shift
  fi
  apart "${net[@]}" -- sh -euc "$loopback"'
    mount -t proc proc "$0/proc"
    mount --bind "$0/proc/sys" "$0/proc/sys" # settings are those of this PC
    mount -o remount,bind,ro "$0/proc/sys"
    mount -t tmpfs -o mode=1777 tmpfs "$0/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=0666,mode=0620,gid=5 devpts "$0/dev/pts"
    ln -sf pts/ptmx "$0/dev/ptmx"
    exec chroot "$0" /usr/bin/env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root \
      LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"' "$folder" "$@"
}
