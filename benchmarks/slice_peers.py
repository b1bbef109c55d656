"""Times the slicing step alone of public slicers: CPU time of one thread between two lines of their logs.

The programs are held to one processor and stopped when the step is over. Neither works without a printer: what they insist on
before the step is written here and says nothing else."""

import json
import os
import shutil
import signal
import subprocess
import time

NO_TURN = "[[1,0,0],[0,1,0],[0,0,1]]"
# Without a value for each of these the program ends.
FDM_SETTINGS = {
    "machine_center_is_zero": "true", "machine_width": "1000", "machine_depth": "1000", "machine_height": "1000",
    "machine_shape": "rectangular", "machine_extruder_count": "1", "mesh_rotation_matrix": NO_TURN,
    "material_shrinkage_percentage": "100", "slicing_tolerance": "middle", "adhesion_type": "none",
    **dict.fromkeys((
        "mesh_position_x", "mesh_position_y", "center_object", "infill_mesh", "cutting_mesh", "anti_overhang_mesh",
        "extruder_nr", "wireframe_enabled", "machine_extruders_share_nozzle", "prime_tower_enable",
        "adaptive_layer_height_enabled", "magic_mesh_surface_mode", "meshfix_extensive_stitching",
        "meshfix_keep_open_polygons", "minimum_polygon_circumference", "xy_offset", "xy_offset_layer_0"), "0"),
}
RESIN_SETTINGS = {
    "printer_technology": "SLA", "supports_enable": "0", "pad_enable": "0", "display_width": "1000", "display_height": "1000",
    "display_pixels_x": "100", "display_pixels_y": "100", "bed_shape": "0x0,1000x0,1000x1000,0x1000",
    "max_print_height": "1000",
}


def cpu_between(command, first, last):
    """CPU seconds of a program between a line that contains `first` and one that contains `last`; None when it ends before."""
    program = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, bufsize=0,
                               preexec_fn=lambda: os.sched_setaffinity(0, {min(os.sched_getaffinity(0))}))
    clock = (~program.pid << 3) | 2  # the CPU time clock of a process, as clock_getcpuclockid makes it
    begin, kept, log = None, b"", []
    try:
        while part := os.read(program.stdout.fileno(), 1 << 16):
            now = time.clock_gettime(clock)
            *lines, kept = (kept + part).split(b"\n")
            for line in lines:
                log.append(line.decode(errors="replace"))
                if begin is None and first in log[-1]:
                    begin = now
                elif begin is not None and last in log[-1]:
                    return now - begin
    finally:
        program.send_signal(signal.SIGKILL)
        program.wait()
        program.stdout.close()
    raise RuntimeError("\n".join([" ".join(command), *log[-5:]]))


def steps(folder, mesh, low, high, layers):
    """By the name of the peer: the command, its first and its last line of the step. Writes its settings into `folder`.

    The resin slicer closes gaps of 0.098 mm unless it is told not to: "prusa" is the step as it comes, "prusa open" without."""
    thickness = repr((high - low) / layers)
    commands = {}
    program = shutil.which("CuraEngine")
    if program:
        definition = os.path.join(folder, "printer.def.json")
        values = {**FDM_SETTINGS, "layer_height": thickness, "layer_height_0": thickness, "mesh_position_z": repr(-low)}
        settings = {key: {"label": key, "type": "str", "default_value": value} for key, value in values.items()}
        with open(definition, "w", encoding="utf-8") as f:
            json.dump({"name": "printer", "version": 2, "metadata": {"type": "machine"},
                       "settings": {"all": {"label": "all", "type": "category", "children": settings}}}, f)
        commands["cura"] = ([program, "slice", "-v", "-p", "-j", definition, "-l", mesh, "-o",
                             os.path.join(folder, "out.gcode")],
                            "Slicing model...", "slice make polygons took")
    program = shutil.which("prusa-slicer")
    if program:
        for name, more in (("prusa", {}), ("prusa open", {"slice_closing_radius": "0"})):
            profile = os.path.join(folder, f"{name}.ini")
            with open(profile, "w", encoding="utf-8") as f:
                heights = {"layer_height": thickness, "initial_layer_height": thickness}
                for key, value in {**RESIN_SETTINGS, **more, **heights}.items():
                    f.write(f"{key} = {value}\n")
            commands[name] = ([program, "--export-sla", "--load", profile, "--center", "500,500", "--loglevel", "5", "-o",
                               os.path.join(folder, "out.sl1"), mesh], "Slicing model", "Generating support points")
    return commands
