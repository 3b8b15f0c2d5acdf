import korinterface

prm = korinterface.Prm.read("data/polarizer", 1005)
results = korinterface.replay("data/polarizer/polarizer.csv", prm)
print(results.outcome_counts(), results.matrices[results.usable].shape)
