# What plot.gp draws, in two blocks of rows: library / floor, and alternative / library.
# A row: its place, median, quartiles, label, and the group that gives its colour.
def rows: length as $rows | to_entries[] | [$rows - .key, .value.ratio.median, .value.ratio.q1, .value.ratio.q3,
    .value.label, .value.group] | map(tostring) | join("\t");

(.floor.comparisons | map({ratio, label: .method, group: 0}) | rows), "", "",
([.alternatives.comparisons[] | .method as $method | .alternatives | to_entries[1:] | to_entries[]
    | {ratio: .value.value.ratio, label: "\($method), \(.value.key)", group: .key}] | rows)
