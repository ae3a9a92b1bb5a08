# Calling library entries: QuarnX is STATS_QuarnX_MP of the loaded library,
# arguments are evaluated and passed as one expression sequence.
v := Vector([1, 2/3, sqrt(2), Pi]):
QuarnEvaluateToFloat(v);
Digits := 30:
QuarnEvaluateToFloat(v);
Digits := 10:
QuarnEvaluateToFloat(Array(0..2, [1, 2, 3], datatype = float[8]));
QuarnEvaluateToFloat(Array(1..3, [-5, 0, 7], datatype = integer[2]));
QuarnEvaluateToFloat(Array(1..2, [0.5, 0.25], datatype = float[4]));
STATS_QuarnEvaluateToFloat(Vector([1/4]));
STATS_QuarnEvaluateToFloat_MP(Vector([1/8]));
# an entry is a procedure value like any other
ev := QuarnEvaluateToFloat:
ev(Vector([3/4]));
map2 := (f, x) -> f(x):
map2(QuarnEvaluateToFloat, Vector([1/5]));
# a quoted name reaches the entry as the name, not its value
QuarnEvaluateToFloat('v');
# a call meant for the library that it does not export is an error (help.q
# has the suggestions); other unassigned names stay unevaluated calls
QuarnNoSuchEntry(1, 2);
nosuchfunction(1, 2);
