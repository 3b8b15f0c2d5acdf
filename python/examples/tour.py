# The examples of docs/python.md, in its order.
import korinterface
from korinterface import plot

prm = korinterface.Prm.read("data/polarizer", 1005)
samples = korinterface.read_recording("data/polarizer/polarizer.csv")
results = korinterface.Kor(prm).process(samples)
print(results.outcome_counts())
axes = plot.angles(results)
axes.figure.savefig("angles.png")

results = korinterface.replay("data/polarizer/polarizer.csv", prm)
korinterface.write_results("results.csv", results)

sim = korinterface.simulate(prm, "random", samples=500, noise={"levelXRaw": 0.5})
found = korinterface.compare(korinterface.replay(sim.samples, prm), sim.truth)
print(found["orientation"]["largest_arcsec"])

budget = korinterface.budget(prm)[0]
print(max(budget["inputs"], key=lambda each: abs(each["x"]))["input"])
print(korinterface.accuracy(mode=5, poses=10)["strata"][0]["worst_deg"])

print(prm.mode, prm.azimuth_table.shape, [finding.text for finding in prm.check()])
blocks = prm.to_dict()
blocks["Scale Factor"][1] = -0.25
changed = korinterface.Prm.from_dict(blocks)
print(changed.scale_factors)

table = korinterface.to_pandas(results)
print(table.loc[table["outcome"] == "ok", "azimuth_deg"].describe())
again = korinterface.from_pandas(table)

rotations = korinterface.to_rotation(results.matrices[results.usable])
print(rotations.as_euler("zyx", degrees=True)[0])

plot.errors(korinterface.replay(sim.samples, prm), sim.truth)
plot.budget(budget["inputs"])

try:
    korinterface.Prm.read("data/polarizer", 7)
except korinterface.KorError as error:
    print(error.kind, error.file)
