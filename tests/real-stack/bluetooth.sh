# Printing over the guest's own bluetoothd on virtual controllers; read by `guest`. hci0 is the computer, hci1 has a paired
# serial printer, once one of both kinds, hci2 an LE printer for receipts and labels.
# builds: harrowmint-printer harrowmint-usb-backend print_probe
# limit: 1500
# shellcheck shell=bash disable=SC2034,SC2154

probe=$PWD/build/dev/bin/print_probe
computer_address=00:AA:01:00:00:00
le_address=00:AA:01:02:00:02
serial_address=00:AA:01:01:00:01
le_device=/org/bluez/hci0/dev_${le_address//:/_}
serial_device=/org/bluez/hci0/dev_${serial_address//:/_}
le_port=ble:00000000-0000-0000-0000-${le_address//:/}
serial_port=spp:${serial_address//:/}
jobs=/tmp/jobs # the requests, and in NAME.bin the stream that each is to become
mkdir -p $jobs
size_of() { stat -c %s "$1"; }

cases=(list receipt_serial serial_lost receipt_le receipt_le_forgotten label_le turns receipt_le_confirmed both_kinds
    computer_off bluetoothd_restarted bluetoothd_absent)
# By name only: le_lost, for on Debian 12's kernel (6.1) the virtual controllers' L2CAP may fail while a lost link is torn
# down, and takes bluetoothd with it; le_out_of_range, after which the printer sometimes cannot be connected again within a
# job's time, for a reason not found yet. The simulated BlueZ of tests/e2e and tests/adapter covers these.

receipt_sent='Receipt sent to Bluetooth printer. Please check the paper.'
label_sent='Label sent to Bluetooth printer. Please check the paper.'
no_receipt=' No receipt data was sent.'
no_label=' No label data was sent.'
check_paper=' Check the paper before retrying; part may have printed.'

# --- what the printers are to get

# The bytes of receipts are those that a USB printer gets for the same document. `short` is the document's beginning.
receipt_streams() {
    local name
    cp tests/samples/receipt-document.json $jobs/receipt.json
    python3 -c 'import json, sys
request = json.load(sys.stdin)
del request["receiptDocument"]["blocks"][6:]
json.dump(request, sys.stdout)' <$jobs/receipt.json >$jobs/short.json
    "$LAB/usb/usb-up.sh" >/dev/null
    for _ in $(seq 50); do [[ -c /dev/usb/lp0 ]] && break; sleep 0.1; done
    run_agent '"printerURI":"usb://LabMaker/RP-80?serial=LAB0001","printerName":"LabMaker RP-80"'
    for name in receipt short; do
        : >/x/usb.bin
        post $jobs/$name.json
        expect_answer 200 5 'Receipt data sent to USB printer.'
        cp /x/usb.bin $jobs/$name.bin
        [[ $(size_of $jobs/$name.bin) -gt 4000 ]] || problem "$name is no receipt"
    done
    stop_agent
    echo unplug >/tmp/usbctl
}
# Those of labels follow from the document: initialise, raster image, bytes a row, rows, pixels. The second label is the
# first one's negative.
label_streams() {
    python3 - tests/samples/label.json $jobs <<'END'
import base64, json, sys
request = json.load(open(sys.argv[1]))
label = request["labelDocument"]
pixels = base64.b64decode(label["data"])
for name in ("label", "label-negative"):
    label["data"] = base64.b64encode(pixels).decode()
    json.dump(request, open(f"{sys.argv[2]}/{name}.json", "w"))
    size = bytes([label["width"] // 8, 0]) + label["height"].to_bytes(2, "little")
    open(f"{sys.argv[2]}/{name}.bin", "wb").write(b"\x1b@\x1dv0\0" + size + pixels)
    pixels = bytes(255 - byte for byte in pixels)
END
}

# --- bluetoothd and the printers

set_powered() { # set_powered ADAPTER true|false
    busctl --system --timeout 10 set-property org.bluez "/org/bluez/$1" org.bluez.Adapter1 Powered b "$2" ||
        problem "$1 does not become powered: $2"
}
has_adapter() { busctl --system --timeout 5 get-property org.bluez "/org/bluez/$1" org.bluez.Adapter1 Address >/dev/null 2>&1; }
start_bluetoothd() {
    /usr/libexec/bluetooth/bluetoothd -C -n >/tmp/bluetoothd.log 2>&1 &
    echo $! >/run/bluetoothd.pid
    for _ in $(seq 100); do has_adapter hci0 && has_adapter hci1 && has_adapter hci2 && break; sleep 0.1; done
    for adapter in hci0 hci1 hci2; do set_powered $adapter true; done
}
stop_bluetoothd() {
    local process
    process=$(cat /run/bluetoothd.pid)
    kill "$process"
    for _ in $(seq 100); do [[ -d /proc/$process ]] || return; sleep 0.1; done
    problem "bluetoothd does not end"
}

declare -A printers=() # process ids
# start_printer NAME [options of the virtual printer]: what it gets goes to /tmp/NAME.bin.
start_printer() {
    local name=$1
    shift
    : >"/tmp/$name.bin"
    : >"/tmp/$name.out"
    "$LAB/bt/bt_printer.py" --data "/tmp/$name.bin" --log "/tmp/$name.jsonl" "$@" >"/tmp/$name.out" 2>&1 &
    printers[$name]=$!
    for _ in $(seq 300); do grep -qE 'READY|ERROR' "/tmp/$name.out" && break; sleep 0.1; done
    grep -q READY "/tmp/$name.out" || problem "no printer: $(cat "/tmp/$name.out")"
}
stop_printer() {
    kill "${printers[$1]}"
    wait "${printers[$1]}" 2>/dev/null
    unset "printers[$1]"
}
start_le_printer() { # start_le_printer [GATT]
    start_printer le --adapter hci2 --spp off --name 'Lab LE' \
        --gatt "${1:-18f0/2af1:write-without-response;ff00/ff02:write,write-without-response}"
    tests/real-stack/advertise_again.py hci2 'Lab LE' &
    printers[advertisement]=$!
}
start_serial_printer() { # start_serial_printer [options]
    start_printer serial --adapter hci1 --gatt '' --advertise off --name 'Lab Serial' "$@"
}
start_printers() {
    start_le_printer
    start_serial_printer
}
# A link that is being ended looks as before for 2 s, and whoever comes next would use it.
await_end_of_le_link() {
    local connected
    for _ in $(seq 100); do
        connected=$(busctl --system --timeout 5 get-property org.bluez "$le_device" org.bluez.Device1 Connected 2>&1)
        [[ $connected != "b false" && $connected != *"doesn't exist"* ]] || return
        sleep 0.1
    done
    problem "the link to the LE printer is not ended: $connected"
}
await_le_printer() { # bluetoothd knows it
    for _ in $(seq 100); do
        busctl --system --timeout 5 get-property org.bluez "$le_device" org.bluez.Device1 Address >/dev/null 2>&1 && return
        sleep 0.1
    done
    problem "the LE printer is not found"
}
# bluetoothd keeps the services of a printer that it knows; another kind of printer is to take its place.
forget_le_printer() {
    busctl --system --timeout 10 call org.bluez /org/bluez/hci0 org.bluez.Adapter1 RemoveDevice o "$le_device" 2>/dev/null || true
}
stop_printers() {
    local name
    for name in "${!printers[@]}"; do stop_printer "$name"; done
}
is_paired() {
    busctl --system get-property org.bluez "$serial_device" org.bluez.Device1 Paired 2>/dev/null |
        grep -q true
}
pair() { # as a person does in the system's settings
    for _ in 1 2 3; do
        PRINTER=$serial_address timeout 120 "$LAB/bt/bt_client.py" discover:bredr stopdiscovery pair >/tmp/pair.log
        is_paired && return
    done
    echo "The serial printer cannot be paired: $(cat /tmp/pair.log)"
    return 1
}

unpair() { # on both sides
    busctl --system --timeout 10 call org.bluez /org/bluez/hci0 org.bluez.Adapter1 RemoveDevice o "$serial_device"
    busctl --system --timeout 10 call org.bluez /org/bluez/hci1 org.bluez.Adapter1 RemoveDevice o \
        "/org/bluez/hci1/dev_${computer_address//:/_}"
    ! is_paired || problem "the serial printer is still paired"
}

# --- jobs

start_agent() { # start_agent PORT of the receipt printer
    run_agent '"printerURI":"usb://LabMaker/RP-80","printerName":"LabMaker RP-80","receiptConnection":"bluetooth",
        "bluetoothReceiptURI":"'"$1"'","bluetoothReceiptName":"Lab","labelPrinterURI":"'"$le_port"'","labelPrinterName":"Lab"'
}
# What the guest's own system says, for whoever looks for the cause.
show_state() {
    busctl --system --timeout 20 call org.bluez "$le_device" org.bluez.Device1 Connect
    tail -n 5 /tmp/bluetoothd.log
    dmesg | tail -n 5
}
# expect_received PRINTER JOB: it gets exactly the job's stream, a little after the agent has handed it out.
expect_received() {
    local got=/tmp/$1.bin wanted=$jobs/$2.bin
    for _ in $(seq 200); do [[ $(size_of "$got") -lt $(size_of "$wanted") ]] || break; sleep 0.1; done
    sleep 1
    cmp "$got" "$wanted" || problem "$1 got $(size_of "$got") bytes, of $2 $(size_of "$wanted") were sent"
}
# expect_prints PRINTER JOB [SECONDS]
expect_prints() {
    local message=$receipt_sent
    [[ $2 != label* ]] || message=$label_sent
    : >"/tmp/$1.bin"
    post "$jobs/$2.json"
    expect_answer 200 "${3:-20}" "$message"
    [[ $code == 200 ]] || show_state
    expect_received "$1" "$2"
    echo "   $2 on $1: $(size_of "$jobs/$2.bin") bytes, answered after $seconds s"
}
# expect_refused PRINTER JOB SECONDS MESSAGE: it fails, and nothing is printed.
expect_refused() {
    : >"/tmp/$1.bin"
    post "$jobs/$2.json"
    expect_answer 409 "$3" "$4"
    [[ ! -s /tmp/$1.bin ]] || problem "$1 got $(size_of "/tmp/$1.bin") bytes"
    echo "   $2 on $1: $4 ($seconds s)"
}
# expect_torn PRINTER JOB MESSAGE: it fails, and the printer has got its beginning.
expect_torn() {
    local got=/tmp/$1.bin
    : >"$got"
    post "$jobs/$2.json"
    expect_answer 409 20 "$3"
    [[ -s $got ]] || problem "nothing was printed"
    cmp -n "$(size_of "$got")" "$got" "$jobs/$2.bin" || problem "other bytes"
    [[ $(size_of "$got") -lt $(size_of "$jobs/$2.bin") ]] || problem "all was printed"
    echo "   $2 on $1: $3 (after $(size_of "$got") bytes)"
}
# off_while_printing PRINTER ADAPTER: the printer's adapter goes off once it has printed something.
off_while_printing() {
    for _ in $(seq 600); do [[ $(size_of "/tmp/$1.bin") -lt 2000 ]] || break; sleep 0.1; done
    set_powered "$2" false
}
finish() {
    stop_agent
    await_end_of_le_link
    stop_printers
    ! dmesg | grep -m1 -E 'kernel BUG|Oops' || problem "the guest's kernel has failed"
}

receipt_streams
label_streams
GATT_MTU=185 "$LAB/bt/bt-up.sh" || exit 1
start_serial_printer
pair || exit 1
stop_printers
[[ $problems -eq 0 ]] || exit 1

case_list() {
    local found
    start_printers
    found=$("${user[@]}" "$probe" find paired)
    sed "s/^ */   /" <<<"$found"
    [[ $found == *"$le_port = Lab LE"* ]] || problem "the LE printer is not found"
    [[ $found == *"$serial_port = Lab Serial (paired serial)"* ]] || problem "the serial printer is not listed"
    stop_printers
}
case_receipt_le() { # written without response
    start_printers
    start_agent "$le_port"
    expect_prints le receipt 40
    expect_prints le short
    finish
}
case_receipt_le_forgotten() { # as after a restart of the computer: bluetoothd keeps only paired devices
    start_printers
    forget_le_printer
    start_agent "$le_port"
    expect_prints le short 40
    finish
}
case_receipt_le_confirmed() { # written with response
    forget_le_printer
    start_le_printer ffe0/ffe1:write
    start_agent "$le_port"
    expect_prints le receipt 40
    expect_prints le short
    finish
    forget_le_printer
}
case_label_le() {
    start_printers
    start_agent "$le_port"
    expect_prints le label 40
    expect_prints le label-negative
    finish
}
case_turns() { # receipts and labels on one printer, whose link both ways share
    start_printers
    start_agent "$le_port"
    expect_prints le receipt 40
    expect_prints le label
    expect_prints le short
    expect_prints le label-negative
    finish
}
case_receipt_serial() {
    start_printers
    start_agent "$serial_port"
    expect_prints serial receipt
    expect_prints serial short
    finish
}
case_serial_lost() { # it closes the channel
    start_le_printer
    start_serial_printer --spp-close-after 60000
    start_agent "$serial_port"
    expect_torn serial receipt "Bluetooth receipt printer disconnected.$check_paper"
    expect_prints serial short
    finish
}
case_both_kinds() { # a printer that has both at one address, not paired, and then paired
    unpair
    start_printer both --adapter hci1 --name 'Lab Both' --gatt 18f0/2af1:write-without-response
    start_agent "ble:00000000-0000-0000-0000-${serial_address//:/}"
    expect_refused both receipt 20 "This device has no supported ESC/POS Bluetooth LE channel. Pair serial printers in macOS Bluetooth settings and choose their paired entry.$no_receipt"
    stop_agent
    pair || problem "not paired"
    start_agent "$serial_port"
    expect_prints both short
    finish
}
case_le_out_of_range() {
    start_printers
    start_agent "$le_port"
    await_le_printer
    set_powered hci2 false
    expect_refused le receipt 50 "Cannot connect your receipt printer. Check power and close other apps using it.$no_receipt"
    set_powered hci2 true
    expect_prints le short 40
    finish
}
case_le_lost() {
    start_printers
    start_agent "$le_port"
    : >/tmp/le.bin
    off_while_printing le hci2 &
    local off=$!
    expect_torn le receipt "Receipt printer disconnected.$check_paper"
    wait $off || problem "hci2 is not off"
    set_powered hci2 true
    expect_prints le short 40
    finish
}
case_computer_off() {
    start_printers
    start_agent "$le_port"
    for adapter in hci0 hci1 hci2; do set_powered $adapter false; done # the agent would use another one
    expect_refused le receipt 3 "Turn on Bluetooth and your receipt printer.$no_receipt"
    expect_refused le label 3 "Turn on Bluetooth and your label printer.$no_label"
    for adapter in hci0 hci1 hci2; do set_powered $adapter true; done
    expect_prints le short 40
    expect_prints le label-negative
    finish
}
case_bluetoothd_restarted() { # between two jobs, each way
    local port printer
    for port in "$le_port" "$serial_port"; do
        start_printers
        start_agent "$port"
        printer=le
        [[ $port == "$le_port" ]] || printer=serial
        expect_prints $printer receipt 40
        stop_printers
        stop_bluetoothd
        start_bluetoothd
        start_printers
        expect_prints $printer short 40
        finish
    done
}
case_bluetoothd_absent() {
    start_printers
    start_agent "$le_port"
    stop_printers
    stop_bluetoothd
    expect_refused le receipt 6 "Turn on Bluetooth and your receipt printer.$no_receipt"
    start_bluetoothd
    start_printers
    expect_prints le short 40
    finish
}
