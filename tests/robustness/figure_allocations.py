"""The n-th allocation of the tool fails, once or from there on; and small address spaces."""
import faults
from figures import parallel


def measure(report):
    report.build("failing_allocation")
    workshop = faults.Workshop(report.folder("allocations"))
    failing = faults.Failing(workshop, report.tool.parents[1] / "lib" / "libfailing_allocation.so")
    commands = faults.READERS + [writer.command() for writer in faults.WRITERS]
    if report.quick:
        commands = commands[::20]
    each = 8 if report.quick else 400
    tasks = []
    for arguments in commands:
        total, undisturbed = failing.count(arguments)
        tasks += [(arguments, undisturbed, n, on) for n in failing.places(total, each) for on in (False, True)]
    problems = [p for p in parallel(lambda task: failing.problem(*task), tasks) if p]
    report.all_of("allocations", problems, len(tasks), f"{len(commands)} commands: exit 70 and a message, or as ever")

    limits = range(3000, 40000, 9000 if report.quick else 500)
    tasks = [(arguments, limit) for arguments in commands for limit in limits]
    problems = [p for p in parallel(lambda task: faults.small_address_space(workshop, *task), tasks) if p]
    report.all_of("allocations.address_space", problems, len(tasks), "exit 70 and a message, or as ever, or not loaded")
