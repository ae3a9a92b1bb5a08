# try/catch/finally: the handler finds the message in lasterror; finally
# runs on every way out and does not change the statement's value.
try 1/0 catch: lasterror end try;
try QuarnEvaluateToFloat(1, 2) catch: lasterror end try;
try 5 catch: 6 end try;
try error "value %1 too big", 99 catch: lasterror end try;
safe := proc(x) try 1/x catch: undefined finally print("checked", x) end try end proc:
safe(4);
safe(0);
try try error "inner" finally print("inner finally") end try catch: "outer caught", lasterror end try;
try
  for i to 5 do if i = 3 then error "stop at %1", i end if end do
catch:
  lasterror, i
end try;
try error "rethrown" catch: error cat("again: ", lasterror) end try;
"after";
