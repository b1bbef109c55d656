"""SIGKILL at random moments while saving: the old or the new file, complete."""
import faults


def measure(report):
    wanted = 5 if report.quick else 1000
    workshop = faults.Workshop(report.folder("kills"))
    for writer in faults.KILLED[:2] if report.quick else faults.KILLED:
        problems, killed, in_saving = faults.kills(workshop, writer, wanted)
        for problem in problems[:5]:
            print("        " + problem)
        report.line("kills." + writer.name.replace(" ", "_"), not problems and killed == wanted,
                     f"{killed - len(problems)} of {killed} ({in_saving} while writing)",
                     f"{wanted} of {wanted}: the old or the new one")
