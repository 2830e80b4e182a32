SELECT g, ⟦sum(n) ¦ avg(d) ¦ min(w) ¦ max(x) ¦ count(*) ¦ count(n) ¦ count(DISTINCT w) ¦ var_samp(x) ¦ var_pop(x) ¦ variance(x) ¦ bool_and(n > 2) ¦ bool_or(n > 2) ¦ every(n < 100) ¦ sum(d)⟧ FILTER (WHERE ⟦n > 2 ¦ w LIKE 'a%' ¦ NULL ¦ x IS NULL⟧) FROM facts GROUP BY g ORDER BY g
SELECT ⟦sum(n) ¦ avg(x) ¦ min(d) ¦ max(w) ¦ count(*) ¦ var_samp(x) ¦ var_pop(n) ¦ variance(d) ¦ stddev_samp(n) ¦ bool_and(n > 2) ¦ bool_or(n > 200)⟧ FROM facts WHERE ⟦true ¦ n = 3 ¦ false ¦ n IS NULL⟧
SELECT g, ⟦covar_pop ¦ regr_intercept ¦ regr_r2 ¦ regr_avgx ¦ regr_avgy ¦ regr_sxx ¦ regr_syy ¦ regr_sxy⟧(x, n) FROM facts GROUP BY g ORDER BY g
SELECT ⟦covar_pop ¦ regr_intercept ¦ regr_r2 ¦ regr_avgx ¦ regr_avgy ¦ regr_sxx ¦ regr_syy ¦ regr_sxy⟧(⟦x ¦ n ¦ 1⟧, ⟦n ¦ d ¦ 2⟧) FROM facts WHERE ⟦true ¦ false ¦ n = 3⟧
SELECT g, percentile_cont(⟦0 ¦ 0.25 ¦ 0.5 ¦ 0.95 ¦ 1 ¦ NULL⟧) WITHIN GROUP (ORDER BY ⟦n ¦ x⟧ ⟦ASC ¦ DESC⟧) FROM facts GROUP BY g ORDER BY g
SELECT g, percentile_disc(⟦0 ¦ 0.25 ¦ 0.5 ¦ 0.95 ¦ 1 ¦ NULL⟧) WITHIN GROUP (ORDER BY ⟦n ¦ x⟧) FROM facts GROUP BY g ORDER BY g
SELECT percentile_cont(0.5) WITHIN GROUP (ORDER BY n) FILTER (WHERE n > 2) FROM facts WHERE ⟦true ¦ false⟧
SELECT percentile_⟦cont ¦ disc⟧(⟦-0.1 ¦ 1.5⟧) WITHIN GROUP (ORDER BY n) FROM facts
SELECT upper('a') FILTER (WHERE true)
SELECT day, at, ⟦sum(n) ¦ count(*) ¦ min(x) ¦ avg(d) ¦ var_samp(n)⟧ FILTER (WHERE ⟦n > 2 ¦ w LIKE 'a%'⟧) OVER (PARTITION BY g ORDER BY at ⟦ROWS 1 PRECEDING ¦ ROWS UNBOUNDED PRECEDING ¦ ROWS BETWEEN 2 PRECEDING AND 1 FOLLOWING ¦ GROUPS 1 PRECEDING⟧) FROM facts WHERE at IS NOT NULL ORDER BY at
SELECT g, regr_count(⟦x ¦ n ¦ 1⟧, ⟦n ¦ d⟧) FROM facts GROUP BY g ORDER BY g
SELECT regr_count(x, n) FROM facts WHERE false
SELECT g, ⟦bit_and ¦ bit_or ¦ bit_xor⟧(⟦n ¦ DISTINCT n ¦ -n ¦ n::bigint * 4294967296⟧) ⟦¦ FILTER (WHERE n > 2)⟧ FROM facts GROUP BY g ORDER BY g
SELECT ⟦bit_and ¦ bit_or ¦ bit_xor⟧(⟦x ¦ w⟧) FROM facts
SELECT g, string_agg(w, ⟦',' ¦ '' ¦ NULL ¦ g ¦ ' und '⟧ ORDER BY ⟦at ¦ at DESC NULLS LAST ¦ n NULLS FIRST, at ¦ x * -1, day⟧) FROM facts GROUP BY g ORDER BY g
SELECT string_agg(⟦DISTINCT w ¦ DISTINCT n::text⟧, ⟦'-' ¦ ', '⟧) ⟦¦ FILTER (WHERE n > 2) ¦ FILTER (WHERE false)⟧ FROM facts
SELECT g, string_agg(DISTINCT w, ',' ORDER BY w ⟦DESC ¦ NULLS FIRST⟧) FROM facts GROUP BY g ORDER BY g
SELECT string_agg(DISTINCT w, ',' ORDER BY ⟦n ¦ w, n⟧) FROM facts
SELECT upper(w ORDER BY n) FROM facts
SELECT rank() OVER (ORDER BY string_agg(w, ',' ORDER BY at)), string_agg(w, '' ORDER BY at) FROM facts GROUP BY g ORDER BY 1
SELECT day, string_agg(w, ',') OVER (ORDER BY day, at ⟦¦ ROWS 2 PRECEDING ¦ ROWS BETWEEN 1 PRECEDING AND 1 FOLLOWING EXCLUDE CURRENT ROW⟧) FROM facts WHERE at IS NOT NULL ORDER BY day, at
SELECT g, mode() WITHIN GROUP (ORDER BY ⟦n ¦ w ¦ d ¦ day⟧ ⟦¦ DESC⟧) ⟦¦ FILTER (WHERE n > 2)⟧ FROM facts GROUP BY g ORDER BY g
SELECT g, ⟦avg ¦ sum ¦ count ¦ var_samp ¦ var_pop ¦ stddev_pop ¦ min⟧(DISTINCT ⟦n ¦ x ¦ d⟧) FROM facts GROUP BY g ORDER BY g
SELECT g, percentile_⟦cont ¦ disc⟧(⟦0.3 ¦ 0.5⟧) WITHIN GROUP (ORDER BY n), percentile_disc(0.4) WITHIN GROUP (ORDER BY at) FROM facts WHERE n IS NOT NULL GROUP BY g ORDER BY g
-- differs: the covariance of no row is 0, and the correlation NaN
SELECT ⟦covar_samp ¦ corr⟧(x, n) FROM facts WHERE false
-- differs: the slope of one row is not a number
SELECT regr_slope(x, n) FROM facts WHERE g = 'c'
-- differs: aggregates of DISTINCT values, and in an order, are computed over windows too
SELECT count(DISTINCT n) OVER (ORDER BY at), string_agg(w, ',' ORDER BY n) OVER () FROM facts
-- differs: it is an aggregate
SELECT mode(n) FROM facts
-- differs: averages of dates are timestamps
SELECT avg(day), percentile_cont(0.5) WITHIN GROUP (ORDER BY at) FROM facts
SELECT g, percentile_cont(⟦0 ¦ 0.25 ¦ 0.5 ¦ 0.9 ¦ 1⟧) WITHIN GROUP (ORDER BY ⟦at - TIMESTAMP '2012-01-01' ¦ at - TIMESTAMP '2012-01-01' DESC ¦ INTERVAL '1 mon' * n⟧) FROM facts GROUP BY g ORDER BY g
-- differs: the same time in other parts, as it is always added to the lesser one of two intervals
SELECT g, percentile_cont(⟦0.25 ¦ 0.5 ¦ 0.9⟧) WITHIN GROUP (ORDER BY INTERVAL '1 mon' * n DESC) FROM facts GROUP BY g ORDER BY g
SELECT g, percentile_disc(⟦0 ¦ 0.25 ¦ 0.5 ¦ 1⟧) WITHIN GROUP (ORDER BY INTERVAL '1 day 1 hour' * n), mode() WITHIN GROUP (ORDER BY INTERVAL '1 hour' * n), min(INTERVAL '1 hour' * n), max(INTERVAL '1 hour' * n) FROM facts GROUP BY g ORDER BY g
SELECT ⟦var_samp ¦ stddev⟧(at - TIMESTAMP '2012-01-01') FROM facts
