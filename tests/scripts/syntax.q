# A syntax error is reported with its place and ends the script: the
# statements before it have run, the ones after it do not.
x := 1;
y := (x + 2;
"never printed";
