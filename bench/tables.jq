# The results as Markdown: bench/run shows them, and keeps them beside the plot.
def digits: if . >= 100 then round elif . >= 10 then (. * 10 | round / 10) else (. * 100 | round / 100) end | tostring;
def fixed(n): (. * pow(10; n) | round | tostring) as $all
    | ("0" * ([n + 1 - ($all | length), 0] | max) // "") + $all | .[:-n] + "." + .[-n:];
def micro: . / 1000 | digits;
def percent: "\(. * 100 | round) %";
def quartiles(f): "\(.median | f) (\(.q1 | f) to \(.q3 | f))";
def row: "| " + join(" | ") + " |";
def table($head): ($head | row), ($head | map("---") | row), (.[] | row);

"# Results",
"",
(.machine | "Of \(.date): \(.processor), \(.processors) processors, load \(.load) at the start; \(.system), \(.compiler),"
    + " JDK \(.jdk). Numbers are medians, with the quartiles in parentheses. `bench/run` makes them anew."),
"",
(if has("floor") then
    "## The library above the floor", "",
    "The floor is the least code that makes the same JNI calls and sends the same bytes; both are checked.", "",
    (.floor.comparisons | map([.method, (.jni_calls | tostring), (.library_ns.median | micro),
        (.floor_ns.median | micro), (.ratio | quartiles(fixed(3))), (.look_ups_share.median | percent)])
    | table(["method", "JNI calls", "library, µs", "floor, µs", "library / floor", "look-ups by name"])), ""
else empty end),
(if has("alternatives") then
    "## The alternatives beside the library", "",
    "Called from Java (JDK \(.alternatives.java)) with the same objects; bytes sent and fields filled are checked.", "",
    ([.alternatives.comparisons[] | .method as $method | .alternatives | to_entries[]
        | [$method, .key, (.value.ns.median | micro), (.value.ratio | quartiles(fixed(3))),
            (.value.garbage_bytes | tostring)]]
    | table(["method", "by", "time, µs", "of the library's", "garbage, bytes"])), ""
else empty end),
(if has("api") then
    "## The Java API beside direct calls", "",
    "What a program calls of `com.qel.internet.rk.executor`, by the native methods that it calls itself; on the reference"
    + " executor in user space, JDK \(.api.java), with new objects for each call.", "",
    ([.api.comparisons[] | .alternatives as $by
        | [.method, ($by["direct call"].ns.median | micro), ($by["Java API"].ns.median | micro),
            ($by["Java API"].ratio | quartiles(fixed(3))), ($by["direct call"].garbage_bytes | tostring),
            ($by["Java API"].garbage_bytes | tostring)]]
    | table(["method", "direct, µs", "API, µs", "API / direct", "garbage, bytes", "garbage of the API, bytes"])), ""
else empty end),
(if has("scale") then
    "## Growth", "",
    "Time an entry at the most entries by that at 100, and bytes of the library's heap an entry beside those of block and"
    + " text.", "",
    ([.scale | to_entries[] | .key as $where | .value[]
        | [.name, ($where | gsub("_"; " ")), (.entries | tostring),
            (.sizes[-1].nanoseconds_per_entry.median | digits),
            (.time_per_entry_by_that_of_100_entries | quartiles(fixed(2))),
            (if .heap_bytes_per_entry then "\(.heap_bytes_per_entry) / \(.block_and_text_bytes_per_entry)" else "" end)]]
    | table(["what", "where", "entries", "ns an entry", "flatness", "bytes an entry"])), ""
else empty end),
(if has("counts") then
    "## Instructions", "",
    "Of the library's own code, one call, with a Java that answers at once.", "",
    (.counts.procedures | map([.name, (.instructions | tostring), (.java_and_executor_calls | tostring),
        (.libc_calls | tostring)])
    | table(["procedure", "instructions", "calls of Java and executor", "calls of libc"])), ""
else empty end)
