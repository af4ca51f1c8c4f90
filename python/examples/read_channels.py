#!/usr/bin/env python3
"""Reads both channels of a 4710 once a second for a minute and writes them to a CSV file.

    python3 read_channels.py                      # embedded simulator, readings.csv
    python3 read_channels.py --device /dev/ttyUSB0 --output bath.csv --seconds 600

Each row holds the time, the channel number, the reading and its units.
"""

import argparse
import csv
import datetime
import sys
import time

import vesk4710

UNIT_SYMBOLS = {
    vesk4710.UNITS_DEGREESC: "C",
    vesk4710.UNITS_DEGREESF: "F",
    2: "K",
    vesk4710.UNITS_RAW_VALUE: "raw",
}


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--device", default="sim",
                        help="sim, a serial device path or tcp://HOST:PORT (default: sim)")
    parser.add_argument("--baud", type=int, default=9600, help="baud rate of a serial device")
    parser.add_argument("--seconds", type=float, default=60.0, help="how long to read")
    parser.add_argument("--every", type=float, default=1.0, help="seconds between rounds")
    parser.add_argument("--output", default="readings.csv", help="CSV file to write")
    args = parser.parse_args(argv)

    inst = vesk4710.connect(device=args.device, baud=args.baud, console=False)
    if not inst.QueryInfo():
        print("the instrument could not be read", file=sys.stderr)
        return 1
    channels = [inst.GetChannelReference(n) for n in (1, 2)]
    if any(ch is None for ch in channels):
        print("the instrument has fewer than two channels", file=sys.stderr)
        return 1
    unit = UNIT_SYMBOLS.get(inst.Units, str(int(inst.Units)))

    rows = 0
    with open(args.output, "w", newline="", encoding="utf-8") as out:
        writer = csv.writer(out)
        writer.writerow(["time", "channel", "value", "unit"])
        end = time.monotonic() + args.seconds
        while True:
            started = time.monotonic()
            for ch in channels:
                value = inst.QueryMeasurement(ch.ActualChannel)
                stamp = datetime.datetime.now().isoformat(timespec="seconds")
                writer.writerow([stamp, ch.ActualChannel, repr(value), unit])
                rows += 1
            out.flush()
            if started + args.every >= end:
                break
            time.sleep(max(0.0, started + args.every - time.monotonic()))
    print(f"{rows} readings written to {args.output}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
