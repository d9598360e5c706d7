# What plot.gp draws, in blocks of rows: library / floor, alternative / library, and a block for each list that grows.
# A row of the first two: its place, median, quartiles, label, and the group that gives its colour. Of the others, which
# begin with a title: entries, and the time of an entry by that at 100 entries.
def line: map(tostring) | join("\t");
def rows: length as $rows | to_entries[] | [$rows - .key, .value.ratio.median, .value.ratio.q1, .value.ratio.q3,
    .value.label, .value.group] | line;

(.floor.comparisons | map({ratio, label: .method, group: 0}) | rows), "", "",
([.alternatives.comparisons[] | .method as $method | .alternatives | to_entries[1:] | to_entries[]
    | {ratio: .value.value.ratio, label: "\($method), \(.value.key)", group: .key}] | rows),
(.scale.library_alone // [] | .[] | select(.heap_bytes_per_entry)
    | (.sizes[] | select(.entries == 100) | .nanoseconds_per_entry.median) as $base
    | "", "", .name, (.sizes[] | [.entries, .nanoseconds_per_entry.median / $base] | line))
