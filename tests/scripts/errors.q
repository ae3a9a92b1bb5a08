# Errors print their message and the script goes on with the next
# statement. Errors that leave a library entry name it.
1/0;
"after an error, the next statement runs";
Digits := -3;
Digits;
QuarnEvaluateToFloat();
QuarnEvaluateToFloat(1, 2);
QuarnEvaluateToFloat([1, 2]);
STATS_QuarnEvaluateToFloat(x);
error "plain message";
error "value %1 is not in %2", 7, 1..5;
check := proc(x) if x < 0 then error "negative argument: %1", x end if; sqrt(x) end proc:
check(4);
check(-2);
# an error inside an entry reached through a procedure names the entry
viaproc := L -> QuarnEvaluateToFloat(L):
viaproc("text");
undefinedthing[1] + t[2, 3];
nosuch := table(): nosuch[1];
[1, 2][5];
x < y;
if z then 1 end if;
f := 3: f(2);
"a" < "b";
break;
for i to 3 do if i = 2 then error "stopped at %1", i end if; i end do;
i;
for i to 3 do i end do: seq(i, i = 1..x);
QuarnNoSuchEntry(1);
"the end";
