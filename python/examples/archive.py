# The example of docs/scaling.md.
import pathlib

import korinterface

# An archive of two sensors and two days: recordings/<ID>/<day>/<name>, and the parameter files in one folder.
pathlib.Path("calibration").mkdir()
for sensor, name in ((1005, "polarizer"), (1009, "two_level")):
    prm = korinterface.Prm.read(f"data/{name}", sensor)
    pathlib.Path(f"calibration/Tg{sensor}.prm").write_bytes(prm.content)
    for seed, day in enumerate(("2026-11-20", "2026-11-21"), 1):
        folder = pathlib.Path(f"recordings/{sensor}/{day}")
        folder.mkdir(parents=True)
        samples = korinterface.simulate(prm, "static", samples=600, seed=seed).samples
        korinterface.write_recording(folder / "morning.csv.gz", samples)
pathlib.Path("recordings/1005/2026-11-21/noon.csv").write_text("status,azimuthRaw\n2,1.5\n")

from korinterface import batch

report = batch.replay("recordings", "results", prm="calibration", pattern="{sensor}/{day}/*", root="recordings")
print(report.replayed, report.failed)
print(batch.failures("results").column("text").to_pylist())

import pyarrow.compute
import pyarrow.dataset

everything = pyarrow.dataset.dataset("results/results", partitioning="hive")
ok = everything.to_table(filter=pyarrow.compute.field("outcome") == "ok", columns=["sensor", "day", "levelX_deg"])
print(ok.group_by(["sensor", "day"]).aggregate([("levelX_deg", "mean")]))

one = batch.read_results("results", "1009/2026-11-20/morning.csv.gz")
print(one.outcome_counts())


def on_a_cluster(scheduler):
    import distributed

    with distributed.Client(scheduler) as client:
        return batch.replay("recordings", "results", prm="calibration", pattern="{sensor}/{day}/*", root="recordings",
                            client=client)
