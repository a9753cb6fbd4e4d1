# USB printing against a virtual USB printer on the guest's kernel; read by `guest`.
# builds: harrowmint-printer harrowmint-usb-backend
# limit: 1500
# table: docs/usb-backend.md
# shellcheck shell=bash disable=SC2034,SC2154

backend=$PWD/build/dev/bin/harrowmint-usb-backend
uri='usb://LabMaker/RP-80?serial=LAB0001'
listing='direct usb://LabMaker/RP-80?serial=LAB0001 "LabMaker RP-80" "LabMaker RP-80 USB" "MFG:LabMaker;MDL:RP-80;CMD:ESC/POS;CLS:PRINTER;SN:LAB0001;" ""'
sent=/x/usb.bin # what the printer got
job=/tmp/job.bin
head -c 100000 /dev/urandom >$job

cases=(list list_denied list_hanging list_probing normal slow_input empty paper error quiet stall unplug unplug_waiting
    absent busy stop stop_early killed closed denied twins next_after_all rule speed
    agent_print agent_paper agent_unplugged agent_absent agent_busy agent_denied)

heading "case" "lines on standard error (of a listing: on standard output)" "status" "seconds"

# --- the printer

connect() { # connect [options of the virtual printer]
    rm -f /x/usb.bin /x/usb.jsonl
    "$LAB/usb/usb-up.sh" "$@" >/dev/null
    kernel_driver_is_back || problem "the kernel does not see the printer"
}
control() { echo "$*" >/tmp/usbctl; }
disconnect() {
    control unplug
    for _ in $(seq 50); do grep -qs 04b8 /sys/bus/usb/devices/*/idVendor || break; sleep 0.1; done
}
kernel_driver_is_back() {
    for _ in $(seq 50); do [[ -c /dev/usb/lp0 ]] && return; sleep 0.1; done
    return 1
}
node() { # the printer's device node
    local device
    device=$(dirname "$(grep -l 04b8 /sys/bus/usb/devices/*/idVendor | head -1)")
    printf '/dev/bus/usb/%03d/%03d' "$(cat "$device/busnum")" "$(cat "$device/devnum")"
}
got() { stat -c %s $sent 2>/dev/null || echo 0; }

# --- the program

# A user without the right to the device node.
stranger=(setpriv --reuid=nobody --regid=nogroup --clear-groups sh -c 'exec "$0" "$@"')

# timed STREAM [options of timed.py] -- arguments: runs the program; sets lines (of STREAM), status and seconds.
timed() {
    local stream=$1 output last
    shift
    output=$(DEVICE_URI=$uri python3 "$LAB/usb/timed.py" "$@" 2>&1)
    lines=$(sed -n "s/^ *[0-9.]* $stream: //p" <<<"$output")
    last=$(grep -- ' => ' <<<"$output" | tail -1)
    seconds=$(awk '{ print $1 }' <<<"$last")
    status=$(sed -n 's/.*=> exit \([0-9]*\).*/\1/p' <<<"$last")
    signal_time=$(awk '/ --- SIG/ { print $1; exit }' <<<"$output")
}
list() { timed out --stdin /dev/null -- "${who[@]}" "$backend"; }
print() { timed err --stdin "${input:-$job}" "$@" -- "${who[@]}" "$backend" 1 user title 1 ""; }

# expect STATUS SECONDS LINE...: what the last run should have shown.
expect() {
    local wanted_status=$1 limit=$2 wanted
    shift 2
    wanted=$(printf '%s\n' "$@")
    [[ $status == "$wanted_status" ]] || problem "status $status, not $wanted_status"
    [[ $lines == "$wanted" ]] || problem "lines:"$'\n'"$lines"$'\n'"   instead of:"$'\n'"$wanted"
    awk -v s="$seconds" -v l="$limit" -v n=$slowness 'BEGIN { exit !(s <= l * n) }' || problem "$seconds s, not $limit s"
}
tell() {
    local shown="\`${lines//$'\n'/\`<br>\`}\`"
    row "$1" "${lines:+$shown}" "$status" "$seconds"
}
# finish CASE: the kernel's driver has the printer again; the case goes into the table.
finish() {
    kernel_driver_is_back || problem "/dev/usb/lp0 is not back"
    tell "$1"
    disconnect
}
sent_line() { echo "DEBUG: Sent $(got) bytes..."; }
waiting='STATE: +cups-waiting-for-job-completed'
quiet='INFO: The printer takes no data.'

case_list() {
    connect
    list
    expect 0 2 "$listing"
    finish "a printer is listed"
}
case_list_denied() {
    connect
    who=("${stranger[@]}")
    list
    who=("${user[@]}")
    expect 0 2 "$listing"
    finish "a printer is listed to a user who may not open it"
}
case_list_hanging() { # the kernel's driver is away, so the program has to ask, and the printer answers nothing at all
    connect
    modprobe -r usblp
    kill -STOP "$(cat /run/usbprinter.pid)"
    list
    kill -CONT "$(cat /run/usbprinter.pid)"
    expect 0 2 "${listing/MFG*;\"/\"}"
    modprobe usblp
    finish "a printer that answers nothing is listed by what the kernel knows"
}
case_list_probing() { # the kernel's driver waits for the printer and holds the device meanwhile
    local probing
    connect
    modprobe -r usblp
    kill -STOP "$(cat /run/usbprinter.pid)"
    modprobe usblp &
    probing=$!
    sleep 1
    list
    kill -CONT "$(cat /run/usbprinter.pid)"
    wait $probing
    [[ $status == 0 ]] || problem "status $status"
    awk -v s="$seconds" 'BEGIN { exit !(s <= 6) }' || problem "$seconds s"
    [[ -z $lines || $lines == direct* ]] || problem "$lines"
    finish "a printer that hangs while the kernel sets it up does not hold up the listing"
}
case_normal() {
    connect
    print
    expect 0 1 "DEBUG: Sent 100000 bytes..." "$waiting"
    cmp $job $sent || problem "other bytes"
    finish "a job of 100000 bytes"
}
case_slow_input() {
    connect
    mkfifo /tmp/slow
    (exec 3>/tmp/slow; head -c 5000 $job >&3; sleep 2; tail -c +5001 $job >&3) &
    input=/tmp/slow print
    expect 0 3 "DEBUG: Sent 100000 bytes..." "$waiting"
    cmp $job $sent || problem "other bytes"
    rm /tmp/slow
    finish "a job that comes with a pause of 2 s"
}
case_empty() {
    connect
    input=/dev/null print
    expect 0 1 "DEBUG: Sent 0 bytes..." "$waiting"
    finish "an empty job"
}
case_paper() {
    connect --stop-after 20000 --port-status 38
    print
    expect 1 3 "$quiet" "$(sent_line)" "ERROR: The printer is out of paper."
    finish "paper runs out"
}
case_error() {
    connect --stop-after 20000 --port-status 10
    print
    expect 1 3 "$quiet" "$(sent_line)" "ERROR: The printer reports an error."
    finish "the printer's status is an error"
}
case_quiet() { # it calls itself well: whoever started the program decides how long to wait
    connect --stop-after 20000
    print --sig TERM@5
    expect 1 5.2 "$quiet" "$(sent_line)" "ERROR: The job was stopped."
    finish "the printer takes no data and calls itself well; SIGTERM after 5 s"
}
case_stall() {
    connect --stall-after 20000
    print
    expect 1 1 "$(sent_line)" "ERROR: The printer refused the data."
    finish "the printer refuses data (stall)"
}
case_unplug() {
    connect --unplug-after 40000
    print
    expect 1 1 "$(sent_line)" "ERROR: The printer was unplugged or switched off."
    tell "unplugged while it takes data"
}
case_unplug_waiting() {
    connect --stop-after 20000
    (until grep -q PORT_STATUS /x/usb.jsonl; do sleep 0.1; done; control unplug) &
    print
    expect 1 2 "$quiet" "$(sent_line)" "ERROR: The printer was unplugged or switched off."
    tell "unplugged while it takes no data"
}
case_absent() {
    print
    expect 1 2 "ERROR: The printer is not connected or switched off."
    tell "the printer is not there"
}
case_busy() {
    local other
    connect
    sleep 60 | DEVICE_URI=$uri "$backend" 1 other title 1 "" 2>/dev/null &
    other=$!
    for _ in $(seq 50); do [[ -c /dev/usb/lp0 ]] || break; sleep 0.1; done
    print
    expect 1 1 "ERROR: Another program is using the printer."
    [[ ! -c /dev/usb/lp0 ]] || problem "the other program lost the printer"
    kill $other
    finish "another program has the printer"
}
case_stop() {
    connect --stop-after 20000
    print --sig TERM@4
    expect 1 4.2 "$quiet" "$(sent_line)" "ERROR: The job was stopped."
    awk -v s="$seconds" -v t="$signal_time" 'BEGIN { exit !(s - t <= 0.6) }' || problem "ended $seconds, SIGTERM at $signal_time"
    finish "SIGTERM after 4 s"
}
case_stop_early() { # at whatever the program is doing just then
    local moment
    for moment in 0.05 0.15 0.3; do
        connect --rate 100000
        print --sig "TERM@$moment"
        awk -v s="$seconds" -v t="$signal_time" 'BEGIN { exit !(s - t <= 0.6) }' || problem "ended $seconds, SIGTERM at $signal_time"
        [[ $lines != *Sent* || $lines == *"$(sent_line)"* ]] || problem "$lines, the printer got $(got)"
        kernel_driver_is_back || problem "/dev/usb/lp0 is not back after SIGTERM at $moment"
        disconnect
    done
}
case_killed() {
    connect --stop-after 20000
    print --sig KILL@2
    [[ -z $status ]] || problem "status $status"
    kernel_driver_is_back || problem "/dev/usb/lp0 is not back after SIGKILL"
    disconnect
}
case_closed() { # whoever reads its messages has gone
    local start end
    connect --stop-after 20000
    start=$(date +%s)
    (DEVICE_URI=$uri "${user[@]}" "$backend" 1 user title 1 "" <$job; echo $? >/tmp/closed) 2> >(sleep 2)
    end=$(date +%s)
    [[ $(cat /tmp/closed) == 1 ]] || problem "status $(cat /tmp/closed)"
    [[ $((end - start)) -le 6 ]] || problem "$((end - start)) s"
    kernel_driver_is_back || problem "/dev/usb/lp0 is not back"
    disconnect
}
case_denied() {
    local device
    connect
    device=$(node)
    who=("${stranger[@]}")
    print
    who=("${user[@]}")
    expect 1 1 "ERROR: No permission to open $device. Install the udev rule of Harrowmint Printer or join the group lp, then plug the printer in again."
    finish "no permission"
}
case_twins() { # two printers that nothing tells apart: both are listed, the first one prints
    connect --serial ''
    "$LAB/usb/usbip_printer.py" --serial '' --ctl /tmp/usbctl2 --log /x/second.jsonl --data /x/second.bin >/dev/null 2>&1 &
    for _ in $(seq 50); do [[ -c /dev/usb/lp1 ]] && break; sleep 0.1; done
    list
    [[ $(grep -c '^direct usb://LabMaker/RP-80 ' <<<"$lines") == 2 ]] || problem "$lines"
    uri=usb://LabMaker/RP-80 print
    expect 0 1 "DEBUG: Sent 100000 bytes..." "$waiting"
    [[ $(got) == 100000 && ! -s /x/second.bin ]] || problem "the second one printed"
    echo unplug >/tmp/usbctl2
    finish "the first of two printers that nothing tells apart"
}
case_next_after_all() { # a stalled, a stopped and a killed job leave nothing behind
    connect --stall-after 20000
    print
    control go
    rm -f /x/usb.bin
    print
    expect 0 1 "DEBUG: Sent 100000 bytes..." "$waiting"
    control stop
    print --sig TERM@1
    print --sig KILL@1
    kernel_driver_is_back || problem "/dev/usb/lp0 is not back"
    control go
    print
    expect 0 1 "DEBUG: Sent 100000 bytes..." "$waiting"
    finish "the job after a stalled, a stopped and a killed one"
}
case_rule() { # the udev rule marks printers for the person at the seat, and nothing else
    mkdir -p /run/udev/rules.d
    cp packaging/linux/*.rules /run/udev/rules.d/
    udevadm control --reload
    connect
    udevadm info -q property -n "$(node)" | grep -q '^TAGS=.*:uaccess:' || problem "the printer's node has no uaccess"
    ! udevadm info -q property -n /dev/bus/usb/001/001 | grep -q uaccess || problem "another device's node has uaccess"
    disconnect
    rm -f /run/udev/rules.d/*
    udevadm control --reload
}

# bytes a second between the first and the last transfer that the printer saw
bus_rate() {
    python3 -c 'import json
t = [r for r in map(json.loads, open("/x/usb.jsonl")) if "n" in r and "total" in r]
print(int((t[-1]["total"] - t[0]["total"]) / (t[-1]["t"] - t[0]["t"])))'
}
case_speed() {
    local kernel=0 ours=0 rate
    head -c 900000 /dev/urandom >/tmp/big.bin
    for _ in 1 2; do
        connect
        dd if=/tmp/big.bin of=/dev/usb/lp0 bs=64k status=none
        cmp /tmp/big.bin $sent || problem "other bytes through the kernel's printer device"
        rate=$(bus_rate)
        [[ $rate -le $kernel ]] || kernel=$rate
        disconnect
        connect
        DEVICE_URI=$uri "${user[@]}" "$backend" 1 user title 1 "" </tmp/big.bin 2>/dev/null || problem "did not print"
        cmp /tmp/big.bin $sent || problem "other bytes"
        rate=$(bus_rate)
        [[ $rate -le $ours ]] || ours=$rate
        disconnect
    done
    echo "   $ours bytes/s; the kernel's printer device: $kernel bytes/s"
    [[ $kernel -gt 0 ]] || problem "nothing was measured on the kernel's printer device"
    [[ $((ours * 10)) -ge $((kernel * 9)) ]] || problem "slower than 0.9 of the kernel's printer device"
    row "900000 bytes, the better of two: $ours bytes/s; \`dd\` onto the kernel's printer device: $kernel bytes/s" "" "" ""
}

# --- the agent, as an ordinary user

start_agent() { run_agent '"printerURI":"'"$uri"'","printerName":"LabMaker RP-80"'; }
sent_message='Receipt data sent to USB printer.'
failed_message='USB transfer failed. Check the cable, power and paper before retrying.'
expect_printed() { # the next job prints, in time
    rm -f $sent
    post receipt-document.json
    expect_answer 200 1 "$sent_message"
}
tell_answer() { row "$1" "\`$(sed -n 's/.*"message":"\([^"]*\)".*/\1/p' <<<"$answer")\`" "HTTP $code" "$seconds"; }

case_agent_print() {
    connect
    start_agent
    post invoice-10.json
    expect_answer 200 1 "$sent_message"
    tell_answer "the agent prints a receipt"
    [[ $(got) -gt 10000 && $(head -c 5 $sent | od -An -tx1) == " 1b 40 1b 61 00" ]] || problem "the printer got $(got) bytes"
    kernel_driver_is_back || problem "/dev/usb/lp0 is not back"
    stop_agent
    disconnect
}
case_agent_paper() {
    connect --stop-after 8000 --port-status 38
    start_agent
    post invoice-10.json
    expect_answer 409 6 "$failed_message"
    tell_answer "the agent, paper runs out"
    expect_log "The printer is out of paper."
    control status 18
    control go
    expect_printed
    stop_agent
    disconnect
}
case_agent_unplugged() {
    connect --unplug-after 8000
    start_agent
    post invoice-10.json
    expect_answer 409 1 "$failed_message"
    tell_answer "the agent, unplugged"
    expect_log "The printer was unplugged or switched off."
    connect
    expect_printed
    stop_agent
    disconnect
}
case_agent_absent() {
    start_agent
    post invoice-10.json
    expect_answer 409 2 "$failed_message"
    tell_answer "the agent, printer absent"
    expect_log "The printer is not connected or switched off."
    connect
    expect_printed
    stop_agent
    disconnect
}
case_agent_busy() {
    local other
    connect
    start_agent
    sleep 60 | DEVICE_URI=$uri "$backend" 1 other title 1 "" 2>/dev/null &
    other=$!
    for _ in $(seq 50); do [[ -c /dev/usb/lp0 ]] || break; sleep 0.1; done
    post invoice-10.json
    expect_answer 409 1 "$failed_message"
    tell_answer "the agent, printer busy"
    expect_log "Another program is using the printer."
    kill $other
    kernel_driver_is_back || problem "/dev/usb/lp0 is not back"
    expect_printed
    stop_agent
    disconnect
}
case_agent_denied() {
    connect
    who=("${stranger[@]}")
    start_agent
    who=("${user[@]}")
    post invoice-10.json
    expect_answer 409 1 "$failed_message"
    tell_answer "the agent, no permission"
    expect_log "No permission to open $(node). Install the udev rule"
    stop_agent
    disconnect
}
