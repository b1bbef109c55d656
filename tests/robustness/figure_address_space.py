"""The release tests in 1 GiB of address space, without those labelled 'huge'."""
import os
import re

from figures import BUILD, run


def measure(report):
    report.build("all")
    quick = ["-R", "StlImport|CtlFile|StlExport|command_line.outputs"] if report.quick else []
    done = run(["prlimit", f"--as={1 << 30}", "ctest", "--test-dir", BUILD / report.preset, "-LE", "huge", "-j",
                str(os.cpu_count() or 1), *quick], timeout=7200)
    text = done.out.decode(errors="replace")
    summary = re.search(r"(\d+)% tests passed, (\d+) tests failed out of (\d+)", text)
    for line in re.findall(r"^\s+\d+ - .*\((?:Failed|Timeout|SEGFAULT|Subprocess aborted|Not Run).*$", text, re.M)[:20]:
        print("       " + line)
    passed = f"{int(summary[3]) - int(summary[2])} of {summary[3]}" if summary else "no summary"
    report.line("address_space.tests", done.exit == 0, passed, "every test in 1 GiB")
