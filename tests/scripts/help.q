# help: an entry's page, a builtin's usage, a search; and the error that
# a mistyped entry name gets.
help(QuarnWeibullDeviate);
help(STATS_QuarnBrentMethod_MP);
help(floor);
help("KernelB");
help(QuarnNormDeviate);
help(nothing_like_it);
QuarnNormDeviate(0.975, 0, 1);
STATS_QuarnNormalDeviat(0.975, 0, 1);
QuarnStudentTDev(0.9, 3);
QuarnNormalDeviate(0.975, 0, 1);
nosuchfunction(1, 2);
