"""Saving on full disks, in folders that cannot be written, and under odd names: every command that writes."""
import faults
from figures import parallel


def measure(report):
    workshop = faults.Workshop(report.folder("saving"))
    # The tests try every command in short.
    every_writer = faults.WRITERS[::12] if report.quick else faults.WRITERS
    for writer in every_writer:
        workshop.result_of(writer)
    sizes = 3 if report.quick else 200
    for name, fault, mark in (
            ("size_limits", lambda w: faults.size_limits(workshop, w, sizes),
             f"{sizes} sizes a command: exit 4, the old file untouched, nothing left"),
            ("full_device", lambda w: faults.full_device(workshop, w), "/dev/full: exit 4"),
            ("no_folder", lambda w: faults.no_folder(workshop, w), "below a file, absent, unwritable, vanished: exit 4"),
            ("read_only", lambda w: faults.read_only_folder(workshop, w), "a read-only folder: exit 4, old file untouched"),
            ("names", lambda w: faults.odd_names(workshop, w), "255 bytes, UTF-8, no text at all: the same file")):
        answers = parallel(fault, every_writer)
        if name == "read_only" and not any(cases for _, cases in answers):
            print("left out saving.read_only: root writes everywhere, and cannot give that right up here", flush=True)
            continue
        report.all_of("saving." + name, [p for problems, _ in answers for p in problems],
                       sum(cases for _, cases in answers), mark)
    rounds = 5 if report.quick else 200
    writers = [w for w in faults.KILLED if not w.in_place]
    answers = [faults.vanishing_folder(workshop, w) for w in writers for _ in range(rounds)]
    report.all_of("saving.vanishing", [p for problems, _ in answers for p in problems],
                  sum(in_time for _, in_time in answers), "the folder removed while it is written in: exit 4")
    answers = parallel(lambda a: faults.full_standard_output(workshop, a)[0] + faults.closed_pipe(workshop, a)[0],
                       faults.READERS)
    report.all_of("saving.standard_output", sum(answers, []), 2 * len(faults.READERS),
                   "full or closed: exit 4 and a message")
