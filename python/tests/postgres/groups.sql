SELECT g, w, count(*), sum(n), grouping(g), grouping(w), grouping(w, g) FROM facts GROUP BY ⟦ROLLUP (g, w) ¦ CUBE (g, w) ¦ GROUPING SETS ((g, w), g, w, ()) ¦ g, ROLLUP (w) ¦ ROLLUP (g), CUBE (w) ¦ GROUPING SETS ((g), (g), (w)) ¦ DISTINCT ROLLUP (g), ROLLUP (g, w) ¦ GROUPING SETS (ROLLUP (g), CUBE (g, w)) ¦ ROLLUP ((g, w)) ¦ (g, w) ¦ 1, 2 ¦ ROLLUP (1, 2)⟧ ORDER BY 7, 1, 2, 3, 4
SELECT count(*), ⟦sum(n) ¦ min(w) ¦ count(DISTINCT n) ¦ avg(x) ¦ 1⟧ FROM facts WHERE ⟦true ¦ false⟧ GROUP BY ⟦() ¦ GROUPING SETS (()) ¦ GROUPING SETS ((), ()) ¦ ROLLUP (g) ¦ CUBE (g, w) ¦ g, ()⟧ ORDER BY 1, 2
SELECT g, n % 2, count(*), ⟦count(DISTINCT w) ¦ sum(d) ¦ percentile_cont(0.5) WITHIN GROUP (ORDER BY n) ¦ bool_and(n > 2) ¦ max(at)⟧ FROM facts GROUP BY ⟦ROLLUP (g, n % 2) ¦ CUBE (g, n % 2)⟧ HAVING ⟦true ¦ grouping(g) = 1 ¦ count(*) > 2 ¦ g IS NULL⟧ ORDER BY grouping(g, n % 2), 1, 2
SELECT coalesce(g, 'all'), g IS NULL, rank() OVER (PARTITION BY grouping(g) ORDER BY sum(n) DESC NULLS LAST), sum(count(*)) OVER (PARTITION BY grouping(g)) FROM facts GROUP BY ROLLUP (g) ORDER BY grouping(g), 1
SELECT DISTINCT grouping(g), count(*) > 3 FROM facts GROUP BY CUBE (g, w) ORDER BY 1, 2
SELECT coalesce(coalesce(g, ''), 'all'), count(*) FROM facts GROUP BY ROLLUP (coalesce(g, '')) ORDER BY 1
SELECT upper(w), grouping(upper(w)) FROM facts GROUP BY ROLLUP (upper(w)) ORDER BY 2, 1
SELECT ⟦grouping(n) ¦ w ¦ grouping(g, n)⟧ FROM facts GROUP BY ROLLUP (g)
SELECT ⟦g FROM facts WHERE grouping(g) = 0 GROUP BY g ¦ grouping(g) FROM facts ¦ count(grouping(g)) FROM facts GROUP BY g⟧
SELECT g, count(*) FROM facts GROUP BY CUBE (g, g, g, g, g, g, g, g, g, g, g, g, g)
SELECT DISTINCT ON (g) g, n, w FROM facts ORDER BY g, ⟦n ¦ n DESC NULLS LAST ¦ w, n ¦ x DESC NULLS LAST, n⟧, at ⟦ ¦ LIMIT 2 ¦ OFFSET 1 ¦ LIMIT 1 OFFSET 1⟧
SELECT DISTINCT ON (⟦w ¦ 1 ¦ w, g ¦ g, w ¦ upper(w)⟧) w, g, n FROM facts ORDER BY ⟦w, g ¦ w DESC NULLS LAST, g ¦ g, w ¦ upper(w), g ¦ n⟧, n, at
SELECT DISTINCT ON (g) g, sum(n) FROM facts GROUP BY g, w ORDER BY g, 2
SELECT DISTINCT ON (g) g, n, row_number() OVER (PARTITION BY g ORDER BY n, at) r FROM facts ORDER BY g, r DESC
SELECT DISTINCT ON (g) g FROM facts
SELECT DISTINCT ON (2) g FROM facts
