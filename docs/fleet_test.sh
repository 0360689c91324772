#!/bin/bash
# Runs the recipes of FLEET.md as they are written, each on devices of its own, with the real engines
# where they are installed. A recipe whose engine is missing is named.
#
# usage: fleet_test.sh TOOL PAGE
set -u
tool=$(realpath "$1") page=$(realpath "$2")
folder=$(mktemp -d) || exit 1
pids=()
cleanup() {
  [ ${#pids[@]} -eq 0 ] || kill "${pids[@]}" 2>/dev/null
  wait
  rm -rf "$folder"
}
trap cleanup EXIT
mkdir "$folder/bin"
ln -s "$tool" "$folder/bin/accountsettings"
export PATH="$folder/bin:$PATH" HOME="$folder/home"
mkdir "$HOME"

fail() { echo "FAILED: $*"; exit 1; }

# recipe NAME prints the lines of the page.
recipe() {
  sed -n "/^<!-- recipe: $1 -->/,/^<!-- end -->/{/^<!--/d;s/^    //;p}" "$page"
}

# tried NAME runs a recipe on twelve devices, of which one is damaged, and looks at what is left.
tried() {
  local name=$1 number
  mkdir "$folder/$name" && cd "$folder/$name" || exit 1
  for number in 01 02 03 04 05 06 07 08 09 10 11 12; do
    accountsettings sample "$number" --release 9A334 >/dev/null || fail "no device"
    echo "$PWD/$number"
  done >list
  local settings=var/mobile/Library/Preferences/com.zelqo.accountsettings.plist
  echo nonsense >"07/$settings"
  recipe "$name" >recipe.sh
  [ -s recipe.sh ] || fail "the page has no recipe '$name'"
  timeout 120 bash recipe.sh >recipe.out 2>&1
  accountsettings report --results results.*.jsonl --out all.jsonl >summary
  [ $? -eq 3 ] || { cat recipe.out summary; fail "$name: the status of the results"; }
  grep -q "on 12 devices in .*: 11 done, 1 refused\." summary || { cat recipe.out summary; fail "$name: $(head -1 summary)"; }
  [ "$(wc -l <all.jsonl)" -eq 12 ] || fail "$name: $(wc -l <all.jsonl) results"
  for number in 01 06 12; do
    accountsettings show "$number" | grep -q "version 12" || fail "$name: $number was not migrated"
  done
  echo "$name: done"
}

if command -v parallel >/dev/null; then
  export PARALLEL_HOME="$HOME"
  touch "$HOME/will-cite"
  tried parallel
  # What is done is not run again.
  bash recipe.sh >again.out 2>&1
  [ "$(cat results.*.jsonl | grep -c '"status":0')" -eq 11 ] || fail "parallel: a device was done twice"
  tried pieces
  # There is one machine: ssh is a stand-in that runs the command here, as a login there would: at home and
  # with a shell named, without which a part is not run and nothing says so.
  cat >"$folder/bin/ssh" <<'SSH'
#!/bin/sh
while [ $# -gt 0 ]; do case $1 in -*) shift ;; *) break ;; esac; done
shift
[ "$1" != -- ] || shift
cd && SHELL=/bin/sh exec /bin/sh -c "$*"
SSH
  chmod +x "$folder/bin/ssh"
  PARALLEL="--ssh $folder/bin/ssh" tried hosts
  [ "$(cut -f2 hosts.log | sort -u | grep -c '^n[12]$')" -eq 2 ] || fail "hosts: $(cat hosts.log)"
else
  echo "NOT RUN: recipes of GNU parallel: parallel is not installed"
fi

# A private Slurm of one controller and one node, in the foreground.
start_slurm() {
  local dir=$folder/cluster me key
  me=$(id -un)
  mkdir -p "$dir"/{munge,state,spool,log}
  chmod 755 "$folder" "$dir"
  chmod 711 "$dir/munge"
  (umask 077 && head -c 1024 /dev/urandom >"$dir/munge/key")
  munged -F --key-file="$dir/munge/key" --socket="$dir/munge/socket" --pid-file="$dir/munge/pid" \
    --log-file="$dir/munge/log" --seed-file="$dir/munge/seed" >"$dir/log/munged" 2>&1 &
  pids+=($!)
  local port=$((20000 + $$ % 20000))
  cat >"$dir/slurm.conf" <<CONF
ClusterName=test
SlurmctldHost=localhost(127.0.0.1)
AuthType=auth/munge
AuthInfo=socket=$dir/munge/socket
CredType=cred/munge
SlurmUser=$me
SlurmdUser=$me
SlurmctldPort=$port
StateSaveLocation=$dir/state
SlurmdSpoolDir=$dir/spool
SlurmctldPidFile=$dir/slurmctld.pid
SlurmdPidFile=$dir/slurmd.pid
SlurmctldLogFile=$dir/log/slurmctld
SlurmdLogFile=$dir/log/slurmd
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SwitchType=switch/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
AccountingStorageType=accounting_storage/none
JobAcctGatherType=jobacct_gather/none
JobCompType=jobcomp/none
MailProg=/bin/true
MinJobAge=4
ReturnToService=2
KillWait=1
SchedulerParameters=sched_interval=1,batch_sched_delay=0
NodeName=n1 NodeHostname=localhost NodeAddr=127.0.0.1 Port=$((port + 1)) CPUs=2 State=UNKNOWN
PartitionName=p Nodes=n1 Default=YES MaxTime=INFINITE State=UP
CONF
  # Without it the node daemon asks for cgroups that may not be mounted.
  echo CgroupPlugin=cgroup/v1 >"$dir/cgroup.conf"
  export SLURM_CONF=$dir/slurm.conf
  for _ in $(seq 100); do [ -S "$dir/munge/socket" ] && break; sleep 0.1; done
  slurmctld -D -c -i >"$dir/log/controller" 2>&1 &
  pids+=($!)
  slurmd -D -N n1 >"$dir/log/node" 2>&1 &
  pids+=($!)
  for _ in $(seq 200); do
    [ "$(timeout 5 sinfo -h -t idle -o %D 2>/dev/null)" = 1 ] && return 0
    sleep 0.1
  done
  tail -n 5 "$dir"/log/*
  return 1
}

export PATH="$PATH:/usr/sbin"
if ! command -v slurmctld >/dev/null || ! command -v slurmd >/dev/null || ! command -v munged >/dev/null; then
  echo "NOT RUN: recipe of Slurm: slurm-wlm or munge is not installed"
elif ! start_slurm; then
  echo "NOT RUN: recipe of Slurm: its daemons do not come up here"
else
  tried slurm
fi
