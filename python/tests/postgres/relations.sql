-- postgres: CREATE TABLE relations (k int, g text, n int, v float8)
-- postgres: INSERT INTO relations VALUES (1,'a',1,0.5),(2,'a',1,NULL),(3,'b',2,1.5),(4,'b',NULL,2.5),(5,NULL,2,3.5),(6,'c',3,NULL),(7,NULL,NULL,7),(8,'d',5,0.5)
-- Joins by ON, with NULL keys, repeated keys and empty sides.
SELECT a.k, a.g, b.k, b.n FROM relations a ⟦INNER ¦ LEFT ¦ RIGHT ¦ FULL⟧ JOIN relations b ON ⟦a.n = b.n ¦ a.g = b.g ¦ a.g = b.g AND a.n = b.n ¦ a.n = b.k ¦ a.k = b.n + 1 ¦ a.n * 2 = b.k - 1 ¦ a.v = b.k ¦ b.n = a.v * 2⟧ ORDER BY a.k, b.k
SELECT a.k, b.k FROM relations a ⟦INNER ¦ LEFT ¦ RIGHT⟧ JOIN relations b ON ⟦a.n < b.n ¦ a.g <> b.g ¦ true ¦ false ¦ NULL ¦ a.k = 3 ¦ b.k = 3 ¦ a.n IS NULL ¦ a.n = b.n OR a.g = b.g ¦ a.k BETWEEN b.n AND b.k ¦ 1 = 1 ¦ a.n IS NULL AND b.n IS NULL ¦ a.g LIKE b.g ¦ coalesce(a.n, 0) = coalesce(b.n, 0) ¦ a.n IS NOT DISTINCT FROM b.n⟧ ORDER BY 1, 2
SELECT a.k, b.k FROM relations a ⟦INNER ¦ LEFT ¦ RIGHT ¦ FULL⟧ JOIN relations b ON a.n = b.n AND ⟦a.k > 2 ¦ b.k > 2 ¦ a.k < b.k ¦ a.v IS NULL ¦ b.g = 'a' ¦ false ¦ NULL ¦ a.g > b.g ¦ a.k = 1 AND b.k = 2 ¦ (a.k = 2 OR b.k = 2)⟧ ⟦¦ WHERE a.k > 1 ¦ WHERE b.k > 1 ¦ WHERE a.k IS NULL ¦ WHERE b.k IS NULL ¦ WHERE a.k + b.k > 4 ¦ WHERE a.g IS NULL AND b.k IS NOT NULL ¦ WHERE coalesce(a.k, 99) > 2 ¦ WHERE a.k IS NULL OR b.k IS NULL⟧ ORDER BY 1, 2
SELECT a.k, b.k FROM (SELECT * FROM relations WHERE ⟦true ¦ false ¦ k < 4⟧) a ⟦INNER ¦ LEFT ¦ RIGHT ¦ FULL⟧ JOIN (SELECT * FROM relations WHERE ⟦k > 2 ¦ false⟧) b ON ⟦a.n = b.n ¦ a.g = b.g AND a.k < b.k⟧ ORDER BY 1, 2
SELECT a.k, b.k FROM (SELECT * FROM relations WHERE ⟦true ¦ false⟧) a ⟦INNER ¦ LEFT ¦ RIGHT ¦ CROSS⟧ JOIN (SELECT * FROM relations WHERE ⟦k > 6 ¦ false⟧) b ⟦¦ ON a.n > b.n ¦ ON true⟧ ORDER BY 1, 2
SELECT count(*), count(a.k), count(b.k), sum(a.k * b.k) FROM relations a ⟦, relations b ¦ CROSS JOIN relations b ¦ JOIN relations b ON true⟧ ⟦¦ WHERE a.n = b.n ¦ WHERE a.n = b.n AND a.k < b.k ¦ WHERE a.k = 1 ¦ WHERE a.k = b.n + 1 AND b.g = 'a' ¦ WHERE false ¦ WHERE a.n < b.n⟧
SELECT count(*) FROM relations a ⟦LEFT ¦ RIGHT ¦ FULL ¦ INNER⟧ JOIN facts b ON a.n = b.n ⟦AND a.g = b.g ¦ AND b.x > 0 ¦ AND a.v < b.x ¦ AND a.k = 1⟧
SELECT a.*, b.k FROM relations a ⟦JOIN ¦ LEFT JOIN⟧ relations b ON a.k = b.k + ⟦1 ¦ 100⟧ ORDER BY 1
SELECT b.*, a.k FROM relations a JOIN relations b ON a.k = b.k + 1 ORDER BY ⟦a.k ¦ b.k DESC ¦ 1 ¦ b.v NULLS FIRST, 1⟧
SELECT * FROM relations a ⟦JOIN ¦ LEFT JOIN ¦ FULL JOIN⟧ relations b ON a.k = b.n ORDER BY a.k, b.k
SELECT *, a.k + b.k AS both FROM relations a, relations b WHERE a.n = b.k ORDER BY a.k
SELECT f.g, count(*), sum(r.v), max(f.x) FROM facts f ⟦JOIN ¦ LEFT JOIN ¦ FULL JOIN⟧ relations r ON f.g = r.g GROUP BY f.g ORDER BY 1
SELECT f.g, r.g, count(*), sum(f.n), avg(f.d) FROM facts f ⟦JOIN ¦ LEFT JOIN ¦ RIGHT JOIN ¦ FULL JOIN⟧ relations r ON f.n = r.n ⟦¦ AND f.g = r.g⟧ GROUP BY f.g, r.g ⟦¦ HAVING count(*) > 2⟧ ORDER BY 1, 2
SELECT a.k, rank() OVER (PARTITION BY b.g ORDER BY a.k), sum(b.v) OVER (ORDER BY a.k, b.k ROWS 1 PRECEDING) FROM relations a ⟦JOIN ¦ LEFT JOIN⟧ relations b ON a.n = b.n ORDER BY a.k, b.k
SELECT DISTINCT a.g, b.n FROM relations a ⟦JOIN ¦ LEFT JOIN ¦ FULL JOIN⟧ relations b ON a.g = b.g ORDER BY 1, 2 ⟦¦ LIMIT 3 ¦ OFFSET 2 ¦ LIMIT 0⟧
SELECT relations.k, facts.n FROM relations JOIN facts ON relations.k = facts.n WHERE facts.w = ⟦'apple' ¦ 'pear' ¦ ''⟧ ORDER BY 1, 2
SELECT count(*) FROM relations a JOIN facts f ON ⟦a.k = f.n ¦ a.k = f.d ¦ a.v = f.x ¦ a.k = f.x ¦ a.v = f.n ¦ a.g = f.g ¦ a.g = f.w ¦ a.n = f.n AND a.g = f.g⟧
SELECT a.day, b.at FROM facts a ⟦JOIN ¦ LEFT JOIN⟧ facts b ON a.day = b.⟦day ¦ at⟧ WHERE a.n = 3 ORDER BY 1, 2
SELECT a.k FROM relations a JOIN facts f ON a.⟦k = f.g ¦ g = f.n⟧
-- differs: a text is read as a date where it is compared with one
SELECT a.k FROM relations a JOIN facts f ON a.g = f.day
-- USING and NATURAL.
SELECT ⟦n ¦ a.n ¦ b.n ¦ *⟧, a.k, b.k FROM relations a ⟦JOIN ¦ LEFT JOIN ¦ RIGHT JOIN ¦ FULL JOIN⟧ (SELECT k, n FROM relations WHERE k > 2) b USING (n) ORDER BY a.k, b.k
SELECT * FROM relations a ⟦JOIN ¦ LEFT JOIN ¦ RIGHT JOIN ¦ FULL JOIN⟧ (VALUES (1, 'a', 'one'), (9, 'z', 'nine'), (NULL, 'n', 'no'), (3, 'x', 'three'), (3, NULL, 'other')) b (⟦k, g ¦ n, g ¦ n, y ¦ k, y⟧, z) ⟦USING (k) ¦ USING (g) ¦ USING (n) ¦ USING (k, g) ¦ USING (g, n) ¦ USING (g, k)⟧ ORDER BY ⟦a.k, z ¦ z, a.k⟧
SELECT ⟦* ¦ a.*, b.* ¦ b.*⟧ FROM relations a NATURAL ⟦¦ LEFT ¦ RIGHT ¦ FULL⟧ JOIN (VALUES ⟦(1, 'a', 'one'), (9, 'z', 'nine'), (NULL, 'n', 'no')¦(3, 'b', 'q'), (3, 'b', 'p')⟧) b (⟦k, g ¦ n, g ¦ x, g ¦ n, y⟧, z) ORDER BY a.k, b.z
SELECT count(*) FROM (SELECT k AS i FROM relations) a NATURAL ⟦¦ LEFT ¦ FULL⟧ JOIN (SELECT k AS ⟦i ¦ j⟧ FROM relations WHERE k < 4) b
SELECT k, ⟦a.g, b.g, c.g ¦ n¦ a.n, b.n, c.n⟧ FROM relations a ⟦JOIN ¦ LEFT JOIN ¦ FULL JOIN⟧ (SELECT * FROM relations WHERE k > 3) b USING (k⟦¦, n⟧) ⟦JOIN ¦ LEFT JOIN ¦ FULL JOIN ¦ RIGHT JOIN⟧ (SELECT * FROM relations WHERE k BETWEEN 2 AND 6) c USING (k⟦¦, n⟧) ORDER BY k, a.k, b.k, c.k
SELECT k, count(*) FROM relations a FULL JOIN (VALUES (1), (1), (20)) b (k) USING (k) ⟦¦ WHERE k > 5 ¦ WHERE a.k IS NULL ¦ WHERE b.k = 1⟧ GROUP BY k ORDER BY k
SELECT g, sum(a.k), sum(b.k) FROM relations a ⟦LEFT ¦ RIGHT ¦ FULL⟧ JOIN (SELECT g, k FROM relations WHERE g IN ('a', 'b') UNION ALL SELECT 'z', 0) b USING (g) WHERE ⟦g IS NULL ¦ g > 'a' ¦ true ¦ a.g = 'b' ¦ b.g IS NULL⟧ GROUP BY g ORDER BY g
SELECT k FROM relations a JOIN relations b USING (⟦k ¦ nothing ¦ v¦ k, k⟧) ORDER BY k
SELECT * FROM relations a JOIN facts f USING (⟦k ¦ w⟧)
SELECT * FROM (VALUES (1, 'a')) a (p, q) JOIN (VALUES ('x', 1)) b (p, q) USING (⟦p ¦ q ¦ p, q⟧)
-- Three tables and more, and joins in parentheses.
SELECT a.k, b.k, c.k FROM relations a ⟦JOIN ¦ LEFT JOIN ¦ FULL JOIN⟧ relations b ON a.n = b.k ⟦JOIN ¦ LEFT JOIN ¦ RIGHT JOIN ¦ FULL JOIN⟧ relations c ON ⟦b.n = c.k ¦ a.g = c.g ¦ a.k = c.n ¦ a.k = c.k AND b.k < c.k⟧ ORDER BY 1, 2, 3
SELECT a.k, b.k, c.k FROM relations a ⟦JOIN ¦ LEFT JOIN ¦ RIGHT JOIN ¦ FULL JOIN⟧ (relations b ⟦JOIN ¦ LEFT JOIN ¦ FULL JOIN⟧ relations c ON b.n = c.k) ON a.n = ⟦b.k ¦ c.k⟧ ORDER BY 1, 2, 3
SELECT a.k, b.k, c.k FROM relations a LEFT JOIN relations b ON a.n = b.k ⟦JOIN ¦ LEFT JOIN⟧ relations c ON b.n = c.k ⟦AND a.k > 2 ¦ AND b.k > 1 ¦ AND c.g = 'a'⟧ WHERE ⟦a.g = 'b' ¦ b.k IS NULL ¦ c.k IS NULL ¦ a.k = 1 OR c.k = 1 ¦ a.k + b.k + c.k > 5 ¦ a.n = b.n⟧ ORDER BY 1, 2, 3
SELECT a.k, b.k, c.k FROM relations a, relations b, relations c WHERE a.n = b.k AND ⟦b.n = c.k ¦ a.g = c.g ¦ a.k + b.k = c.k ¦ c.k = 3 AND a.k < 3 ¦ a.k < b.k AND b.k < c.k⟧ ORDER BY 1, 2, 3
SELECT a.k, b.k, c.k FROM relations a CROSS JOIN relations b ⟦LEFT ¦ INNER⟧ JOIN relations c ON c.k = a.k AND c.n = b.n WHERE a.k < 4 AND b.k ⟦> 6 ¦ = a.k⟧ ORDER BY 1, 2, 3
SELECT a.k, b.k, c.k FROM relations a, relations b ⟦LEFT ¦ INNER⟧ JOIN relations c ON ⟦b.n = c.k ¦ b.k = c.n AND c.k > 1⟧ WHERE a.k = b.k ⟦¦ AND a.g = 'a' ¦ AND c.k IS NULL⟧ ORDER BY 1, 2, 3
SELECT a.k FROM relations a, relations b JOIN relations c ON a.k = c.k
SELECT a.k, d.k FROM relations a JOIN relations b USING (k) JOIN relations c USING (k) LEFT JOIN relations d ON d.n = c.k WHERE ⟦k > 3 ¦ b.k = c.k ¦ d.k IS NULL⟧ ORDER BY 1, 2
SELECT * FROM relations NATURAL JOIN (SELECT k FROM relations WHERE k > 2) b NATURAL JOIN (SELECT k, n AS m FROM relations WHERE k < 6) c ORDER BY k
-- Names.
SELECT ⟦k ¦ a.k, n ¦ sum(k) ¦ count(b.zz) ¦ c.k ¦ c.* ¦ relations.k⟧ FROM relations a JOIN relations b ON a.n = b.n
SELECT a.k FROM relations a JOIN relations b ON ⟦n = 1 ¦ a.n = c.n ¦ a.n = n ¦ a.q = b.q⟧
SELECT a.k FROM relations a, relations b WHERE ⟦k = 1 ¦ a.k = b.z ¦ c.k = a.k⟧ ORDER BY 1
SELECT a.k FROM relations a, relations b WHERE a.k = b.k ⟦ORDER BY k ¦ ORDER BY b.k ¦ ORDER BY n ¦ GROUP BY k⟧
SELECT * FROM relations, relations
SELECT * FROM relations a JOIN facts a ON true
SELECT * FROM relations a, (SELECT 1) a
SELECT a.k FROM relations a, relations WHERE relations.k = a.n ORDER BY 1
SELECT relations.k FROM relations JOIN facts ON ⟦w = 'fig' AND k = 1 ¦ v = x AND relations.g = 'a' ¦ d > v⟧ ORDER BY 1
SELECT k, w FROM relations JOIN facts ON relations.g = facts.g WHERE k = 6
SELECT * FROM ⟦nothing ¦ relations JOIN nothing ON true ¦ (SELECT * FROM nothing) q⟧
SELECT p, q FROM relations AS r (p, q) ⟦ORDER BY p ¦ WHERE n = 1 ORDER BY p ¦ WHERE k = 1 ¦ WHERE r.q = 'a' ORDER BY r.p⟧
SELECT * FROM relations AS r (a, b, c, d, e)
SELECT r.a, s.a FROM relations r (a) JOIN relations s (a, b) ON r.a = s.⟦a ¦ n⟧ ⟦ORDER BY 1, 2 ¦ WHERE b = 'a' ORDER BY 1, 2 ¦ WHERE r.g = s.b ORDER BY 1, 2⟧
-- Subqueries in FROM.
SELECT g, c FROM (SELECT g, count(*) AS c FROM relations GROUP BY g) q ⟦WHERE c > 1 ¦ WHERE g IS NULL ¦⟧ ORDER BY ⟦g ¦ c DESC, g⟧
SELECT ⟦count(*) ¦ sum(t) ¦ max(g) ¦ avg(c)⟧ FROM (SELECT g, sum(n) AS t, count(*) AS c FROM ⟦relations ¦ facts⟧ GROUP BY g ⟦¦ HAVING count(*) > 1⟧) q
SELECT g, k FROM (SELECT g, k, row_number() OVER (PARTITION BY g ORDER BY k DESC) AS r FROM relations) q WHERE r = ⟦1 ¦ 2 ¦ 9⟧ ORDER BY g, k
SELECT q.g, r.k, q.s FROM relations r ⟦JOIN ¦ LEFT JOIN ¦ RIGHT JOIN⟧ (SELECT g, sum(k) AS s FROM relations WHERE k ⟦> 1 ¦ > 3⟧ GROUP BY g) q ON r.g = q.g ORDER BY 1, 2
SELECT * FROM (SELECT * FROM (SELECT k, n FROM relations WHERE n ⟦IS NULL ¦ > 1⟧) a WHERE k > 3) b ORDER BY 1
SELECT * FROM (SELECT k, g FROM relations ORDER BY k ⟦DESC ¦ ASC⟧ LIMIT ⟦2 ¦ 0⟧ OFFSET 1) q ORDER BY k
SELECT ⟦a ¦ b ¦ q.a ¦ a, b ¦ k⟧ FROM (SELECT k, n FROM relations WHERE k < 3) q (a⟦, b ¦⟧) ORDER BY 1
SELECT * FROM (SELECT DISTINCT g FROM relations) a ⟦, ¦ CROSS JOIN⟧ (SELECT DISTINCT n FROM relations WHERE n > 1) b ORDER BY 1, 2
SELECT x.k, x.two, y.k FROM (SELECT k, k * 2 AS two FROM relations) x LEFT JOIN relations y ON x.two = y.k ORDER BY ⟦1 ¦ x.two DESC⟧
SELECT sum(s) FROM (SELECT sum(k) AS s FROM relations ⟦WHERE false ¦ ¦ GROUP BY g ¦ WHERE false GROUP BY g⟧) q
SELECT a.k AS left_k, q.k FROM relations a JOIN (SELECT b.k FROM relations b JOIN facts f ON b.k = f.n AND f.g = 'a') q ON a.n = q.k ORDER BY 1, 2
SELECT * FROM (SELECT 1 AS a, 'x' AS b, NULL AS c, 1.5 AS d, true AS e) q
SELECT * FROM (SELECT k AS a, n AS a FROM relations) q
SELECT a FROM (SELECT k AS a, n AS a FROM relations) q
SELECT k FROM (SELECT k FROM relations) ORDER BY k
-- WITH.
WITH q AS (SELECT g, count(*) AS c FROM relations GROUP BY g) SELECT a.g, a.c, b.c FROM q a ⟦JOIN ¦ LEFT JOIN ¦ RIGHT JOIN⟧ q b ON ⟦a.c = b.c ¦ a.g = b.g ¦ a.g < b.g⟧ AND ⟦true ¦ a.c > 1⟧ ORDER BY 1, 3, b.g
WITH q AS (SELECT g, count(*) AS c FROM relations GROUP BY g) SELECT a.g, a.c, b.c FROM q a FULL JOIN q b ON ⟦a.c = b.c ¦ a.g = b.g⟧ AND ⟦true ¦ a.c > 1⟧ ORDER BY 1, 3, b.g
-- differs: FULL JOIN takes any condition
SELECT a.k, b.k FROM relations a FULL JOIN relations b ON ⟦a.k < b.n ¦ false⟧ ORDER BY 1, 2
WITH a AS (SELECT k FROM relations WHERE k < 5), b AS (SELECT k FROM a WHERE k > 2) SELECT ⟦(SELECT count(*) FROM a), (SELECT count(*) FROM b) ¦ k FROM b ORDER BY k ¦ a.k, b.k FROM a LEFT JOIN b ON a.k = b.k ORDER BY 1 ¦ k FROM a EXCEPT SELECT k FROM b ORDER BY k⟧
WITH relations AS (SELECT k + 100 AS k FROM relations) SELECT k FROM relations ORDER BY k
WITH q AS (SELECT 1 AS a) SELECT a, (WITH q AS (SELECT 2 AS a) SELECT a FROM q), (SELECT a FROM q) FROM q
WITH q AS (SELECT 1 AS a) SELECT * FROM (WITH q AS (SELECT a + 1 AS a FROM q) SELECT a FROM q) p, q
WITH q (x, y) AS (SELECT k, g FROM relations) SELECT ⟦x ¦ y ¦ q.x, q.y ¦ k ¦ *⟧ FROM q WHERE x < 4 ORDER BY 1
WITH q (x) AS (VALUES (1), (NULL), (3)) SELECT r.k, x FROM relations r ⟦JOIN ¦ LEFT JOIN ¦ RIGHT JOIN ¦ FULL JOIN⟧ q ON ⟦r.n = x ¦ r.k = x⟧ ORDER BY 1, 2
WITH q AS (SELECT 1), q AS (SELECT 2) SELECT * FROM q
WITH q (a, b) AS (SELECT 1) SELECT * FROM q
WITH q AS (SELECT * FROM ⟦r ¦ q⟧), r AS (SELECT 1) SELECT * FROM q
WITH q AS (SELECT k FROM relations), unused AS (SELECT 1) SELECT count(*) FROM q WHERE k IN (SELECT k FROM q WHERE k > ⟦4 ¦ 40⟧)
WITH q AS (SELECT g, n FROM facts) SELECT g, sum(n) FROM q GROUP BY g UNION ALL SELECT 'all', sum(n) FROM q ORDER BY 1
WITH q AS (SELECT k FROM relations) (SELECT k FROM q ORDER BY k LIMIT 2) UNION ALL (SELECT k FROM q ORDER BY k DESC LIMIT 2) ORDER BY k
-- Set operations.
SELECT ⟦n ¦ g⟧ FROM relations ⟦UNION ¦ UNION ALL ¦ INTERSECT ¦ INTERSECT ALL ¦ EXCEPT ¦ EXCEPT ALL⟧ SELECT ⟦n ¦ g ¦ n, g⟧ FROM facts WHERE ⟦n < 3 OR n IS NULL ¦ false ¦ g = 'a'⟧ ORDER BY 1
SELECT n, g FROM relations ⟦UNION ¦ UNION ALL ¦ INTERSECT ¦ INTERSECT ALL ¦ EXCEPT ¦ EXCEPT ALL⟧ SELECT n, g FROM facts WHERE ⟦n < 3 OR n IS NULL ¦ false ¦ g = 'a'⟧ ORDER BY 1, 2
SELECT n FROM relations ⟦UNION ¦ INTERSECT ¦ EXCEPT⟧ ⟦¦ALL⟧ SELECT ⟦k ¦ v ¦ NULL ¦ 2 ¦ 2.0 ¦ 1e0 ¦ k * 0.5⟧ FROM relations ORDER BY 1 ⟦¦ NULLS FIRST ¦ DESC NULLS LAST⟧
SELECT ⟦NULL ¦ 1 ¦ 'a' ¦ 2.5 ¦ DATE '2020-01-01'⟧ ⟦UNION ¦ UNION ALL ¦ INTERSECT ¦ EXCEPT⟧ SELECT ⟦NULL ¦ 1 ¦ 'b' ¦ 2.5 ¦ DATE '2020-01-02' ¦ TIMESTAMP '2020-01-01 00:00:00'⟧ ORDER BY 1
SELECT ⟦NULL ¦ true ¦ 'a'⟧ ⟦UNION ¦ UNION ALL ¦ INTERSECT ¦ EXCEPT⟧ SELECT ⟦NULL ¦ false ¦ true ¦ DATE '2020-01-02'⟧ ORDER BY 1
-- differs: a truth value among numbers is 1 or 0, as in COALESCE
SELECT ⟦1 ¦ 2.5⟧ ⟦UNION ¦ EXCEPT⟧ SELECT true ORDER BY 1
SELECT NULL UNION ALL SELECT NULL UNION ALL SELECT ⟦1 ¦ 'a' ¦ NULL⟧ ORDER BY 1
SELECT k, n FROM relations WHERE k < 4 ⟦UNION ¦ EXCEPT ¦ INTERSECT⟧ (SELECT n, k FROM relations ⟦UNION ¦ EXCEPT ¦ INTERSECT ALL⟧ SELECT k, n FROM relations WHERE k = 1) ORDER BY 1, 2
SELECT k FROM relations ⟦UNION ¦ EXCEPT ¦ UNION ALL⟧ SELECT n FROM relations ⟦INTERSECT ¦ EXCEPT ¦ UNION ALL⟧ SELECT 2 ⟦EXCEPT ¦ UNION⟧ SELECT 3 ORDER BY 1 ⟦¦ LIMIT 3 ¦ OFFSET 2 ¦ LIMIT 2 OFFSET 1⟧
(SELECT k FROM relations ORDER BY k DESC LIMIT 2) UNION ALL (SELECT n FROM relations ORDER BY n ⟦NULLS FIRST ¦ DESC NULLS LAST⟧, k LIMIT 2) ORDER BY ⟦1 ¦ k ¦ k DESC NULLS LAST⟧
SELECT g AS a, count(*) AS b FROM relations GROUP BY g UNION ALL SELECT w, sum(n) FROM facts GROUP BY w ORDER BY ⟦a, b ¦ b, a ¦ 2, 1 ¦ c ¦ w⟧
SELECT DISTINCT n FROM relations UNION ALL SELECT DISTINCT n FROM relations ORDER BY n
SELECT k FROM relations ⟦UNION ¦ INTERSECT ¦ EXCEPT⟧ SELECT ⟦k, n ¦ g ¦ 'a' ¦ day⟧ FROM ⟦relations ¦ facts⟧
SELECT * FROM relations ⟦EXCEPT ¦ INTERSECT ¦ UNION⟧ ⟦¦ALL⟧ SELECT * FROM relations WHERE ⟦k > 4 ¦ n IS NULL ¦ false⟧ ORDER BY 1
SELECT count(*), sum(n) FROM (SELECT n FROM relations ⟦UNION ¦ UNION ALL ¦ EXCEPT ¦ EXCEPT ALL ¦ INTERSECT ALL⟧ SELECT n FROM facts) q
SELECT k FROM relations WHERE n IN (SELECT 1 UNION SELECT ⟦2 ¦ NULL⟧) ORDER BY k
SELECT a.k, u.n FROM relations a JOIN (SELECT n FROM relations UNION SELECT k FROM relations) u ON a.n = u.n ORDER BY 1
SELECT day FROM facts WHERE n = 1 ⟦UNION ¦ INTERSECT ¦ EXCEPT⟧ SELECT ⟦day ¦ at⟧ FROM facts WHERE n < 3 ORDER BY 1
SELECT d FROM facts WHERE n = ⟦1 ¦ 4⟧ ⟦UNION ¦ UNION ALL⟧ SELECT ⟦n ¦ x ¦ d * 2 ¦ 0.125⟧ FROM facts WHERE n = 2 ORDER BY 1
SELECT 'a' AS t UNION SELECT ⟦'' ¦ NULL ¦ 'longer than the other one' ¦ w FROM facts⟧ ORDER BY 1
-- differs: blanks at the end of texts do not count
SELECT 'a' AS t UNION SELECT 'a '
SELECT n FROM relations UNION SELECT n FROM facts ORDER BY ⟦k ¦ facts.n⟧
-- VALUES.
VALUES (1, 'a'), (2, NULL), (NULL, 'ccc') ORDER BY ⟦1 ¦ 2 ¦ column1 DESC NULLS LAST ¦ column2, 1⟧ ⟦¦ LIMIT 2 ¦ OFFSET 1⟧
SELECT ⟦* ¦ column1 ¦ column2, column1 ¦ v.column1 ¦ column3⟧ FROM (VALUES (1, 'a'), (2, 'b')) v ORDER BY 1
SELECT x, y FROM (VALUES (⟦1 ¦ 1.5 ¦ NULL ¦ 1e3⟧, 'a'), (⟦2 ¦ NULL ¦ 2.25⟧, ⟦'bbb' ¦ NULL⟧)) v (x, y) ORDER BY 1, 2
VALUES (1), (⟦'a' ¦ DATE '2020-01-01'⟧)
VALUES (1), (2, 3)
VALUES (1 + 1, upper('a')), ((SELECT max(k) FROM relations), lower('B')) ORDER BY 1
VALUES (1), (2) ⟦UNION ¦ UNION ALL ¦ EXCEPT ¦ INTERSECT⟧ VALUES (2), (NULL) ORDER BY 1
SELECT r.k, v.t FROM relations r ⟦JOIN ¦ LEFT JOIN ¦ RIGHT JOIN ¦ FULL JOIN⟧ (VALUES (1, 'one'), (2, 'two'), (2, 'deux'), (99, 'none'), (NULL, 'null')) v (i, t) ON r.n = v.i ⟦¦ AND v.t <> 'two' ¦ AND r.k <> 1⟧ ORDER BY 1, 2
SELECT sum(column1), count(column2) FROM (VALUES (1, NULL), (NULL, NULL), (3, ⟦NULL ¦ 1⟧)) v
-- Scalar subqueries.
SELECT k, (SELECT ⟦max(k) ¦ n ¦ g ¦ sum(v) ¦ 5⟧ FROM relations WHERE ⟦k = 3 ¦ false ¦ k = 4⟧) FROM relations ORDER BY k
SELECT (SELECT ⟦k ¦ max(k) ¦ k, n ¦ *⟧ FROM relations)
SELECT k FROM relations WHERE n ⟦= ¦ > ¦ <> ¦ <=⟧ (SELECT ⟦min(n) ¦ max(n) ¦ avg(n) ¦ n⟧ FROM relations WHERE ⟦true ¦ false ¦ k = 3⟧) ORDER BY k
SELECT k, n - (SELECT avg(n) FROM relations) AS above FROM relations WHERE n > (SELECT ⟦1 ¦ NULL ¦ min(n) FROM facts ¦ (SELECT 1)⟧) ORDER BY k
SELECT g, sum(n) FROM relations GROUP BY g HAVING sum(n) > (SELECT ⟦avg(n) ¦ min(n)⟧ FROM relations) ORDER BY ⟦g ¦ sum(n) - (SELECT 1), g⟧
SELECT k FROM relations ORDER BY k LIMIT (SELECT ⟦2 ¦ 0 ¦ count(*) - 5 FROM relations⟧)
SELECT sum(k) * (SELECT 2), (SELECT g FROM relations WHERE k = 6) || 'x', CASE WHEN (SELECT count(*) FROM facts) > ⟦10 ¦ 100⟧ THEN 'many' ELSE 'few' END FROM relations
SELECT (SELECT ⟦DATE '2020-02-03' ¦ TIMESTAMP '2020-02-03 04:05:06' ¦ true ¦ 1.25 ¦ 'text' ¦ NULL ¦ max(day) FROM facts ¦ max(at) FROM facts ¦ max(d) FROM facts ¦ max(x) FROM facts⟧) AS one
SELECT a.k FROM relations a JOIN relations b ON a.n = b.n AND a.k > (SELECT min(k) + 1 FROM relations) ORDER BY 1
SELECT coalesce((SELECT n FROM relations WHERE false), ⟦0 ¦ (SELECT 7) ¦ NULL⟧)
SELECT n + (SELECT g FROM relations WHERE k = 1) FROM relations
-- IN, EXISTS, ANY and ALL.
SELECT k FROM relations WHERE n ⟦IN ¦ NOT IN⟧ (SELECT ⟦n ¦ k ¦ v ¦ NULL::integer ¦ n + 0.5⟧ FROM relations WHERE ⟦true ¦ false ¦ n IS NOT NULL ¦ k < 3⟧) ORDER BY k
-- differs: a NULL that nothing gives a type to is one of any type
SELECT k FROM relations WHERE n ⟦IN ¦ =⟧ (SELECT NULL) ORDER BY k
SELECT k, n ⟦IN ¦ NOT IN⟧ (SELECT ⟦n ¦ k ¦ NULL::integer ¦ v * 2⟧ FROM relations WHERE ⟦true ¦ false ¦ n IS NOT NULL ¦ k > 5⟧) AS r FROM relations ORDER BY k
SELECT k, n ⟦= ¦ <> ¦ < ¦ <= ¦ > ¦ >=⟧ ⟦ANY ¦ ALL ¦ SOME⟧ (SELECT n FROM relations WHERE ⟦true ¦ false ¦ n IS NOT NULL ¦ n IS NULL ¦ k = 3⟧) AS r FROM relations ORDER BY k
SELECT k FROM relations WHERE ⟦¦NOT⟧ (g ⟦= ¦ <> ¦ <⟧ ⟦ANY ¦ ALL⟧ (SELECT ⟦g FROM relations ¦ g FROM facts ¦ w FROM facts WHERE n = 1 ¦ 'b'⟧)) ORDER BY k
SELECT k FROM relations WHERE ⟦¦NOT⟧ EXISTS (SELECT ⟦1 ¦ * ¦ k, n⟧ FROM relations WHERE ⟦k > 7 ¦ false⟧) ORDER BY k
SELECT EXISTS (SELECT 1), NOT EXISTS (SELECT 1 WHERE false), 1 IN (SELECT ⟦1 ¦ 2 ¦ NULL::integer⟧), NULL ⟦IN ¦ NOT IN⟧ (SELECT 1), NULL IN (SELECT 1 WHERE false)
SELECT count(*) FROM facts WHERE day ⟦IN ¦ NOT IN⟧ (SELECT day FROM facts WHERE n = ⟦1 ¦ 3 ¦ 99⟧) ⟦¦ OR g = 'a'⟧
SELECT count(*) FROM facts WHERE ⟦d ¦ x ¦ n⟧ ⟦IN ¦ = ANY ¦ > ALL ¦ < ANY⟧ (SELECT ⟦d ¦ x ¦ n⟧ FROM facts WHERE g = ⟦'b' ¦ 'c' ¦ 'd'⟧)
SELECT k FROM relations WHERE g IN (SELECT g FROM relations GROUP BY g HAVING count(*) > 1) ORDER BY k
SELECT g, count(*) FILTER (WHERE n IN (SELECT n FROM facts)) FROM relations GROUP BY g ORDER BY g
SELECT k FROM relations WHERE n IN (SELECT ⟦k, n FROM relations ¦ g FROM relations⟧)
-- differs: a number is compared with a truth value as 1 or 0
SELECT k FROM relations WHERE n IN (SELECT true) ORDER BY k
SELECT k FROM relations WHERE n + 1 IN (SELECT k FROM relations WHERE k IN (SELECT n FROM relations WHERE n < ⟦3 ¦ 9⟧)) ORDER BY k
-- differs: ANY and ALL of a subquery take comparisons alone
SELECT k FROM relations WHERE g ⟦LIKE ANY ¦ NOT LIKE ALL⟧ (SELECT 'a')
-- GENERATE_SERIES.
SELECT * FROM generate_series(⟦1 ¦ 5 ¦ -2 ¦ NULL⟧, ⟦5 ¦ 1 ¦ 0⟧⟦¦, 2 ¦, -1 ¦, -2 ¦, 10 ¦, NULL⟧) ORDER BY 1
SELECT * FROM generate_series(1, 2, 0)
SELECT i FROM generate_series(1, 3) ⟦AS t (i) ¦ t (i) ¦ AS i ¦ i⟧ ORDER BY i
SELECT generate_series FROM generate_series(2, 3) ORDER BY 1
SELECT ⟦i.i ¦ i * 2 ¦ count(*), sum(i) ¦ sum(i) FILTER (WHERE i > 3)⟧ FROM generate_series(1, ⟦5 ¦ 0⟧) i ⟦ORDER BY 1 ¦⟧
SELECT i, k, g FROM generate_series(0, 9) s (i) ⟦LEFT JOIN ¦ JOIN ¦ FULL JOIN⟧ relations ON ⟦i = k ¦ i = n ¦ i * 2 = k⟧ ORDER BY 1, 2
-- differs: nothing in FROM reads the tables before it
SELECT a.i, b.i FROM generate_series(1, 3) a (i), generate_series(a.i, 3) b (i)
SELECT count(*) FROM facts f JOIN (SELECT d * 1.000 AS d, x * 1.0 AS x, n * 1.00 AS n FROM facts) q ON ⟦f.d = q.d ¦ f.x = q.x ¦ f.n = q.n ¦ f.n = q.d ¦ f.d = q.x ¦ f.n = q.n AND f.d = q.d⟧
-- Subqueries that read what is around them.
SELECT a.k FROM relations a WHERE EXISTS (SELECT 1 FROM facts f WHERE f.n = ⟦a.k ¦ k ¦ a.n + v⟧)
SELECT k, (SELECT max(b.k) FROM relations b WHERE b.n = a.n) FROM relations a ⟦¦ JOIN facts ON false⟧
SELECT (SELECT ⟦k ¦ relations.k⟧) FROM relations
SELECT a.k FROM relations a JOIN facts f ON f.n = (SELECT max(b.n) FROM relations b WHERE b.k = ⟦a.k ¦ f.n⟧) ORDER BY 1
SELECT k FROM relations WHERE EXISTS (SELECT ⟦nope ¦ nope.k⟧ FROM facts) ORDER BY k
SELECT k FROM relations WHERE k ⟦< ¦ > ¦ <= ¦ >= ¦ = ¦ <>⟧ ⟦ANY ¦ ALL⟧ (SELECT ⟦f.n ¦ r.v ¦ i⟧ FROM generate_series(3, 5) i, facts f, relations r WHERE r.n = 2 AND f.g = 'a') ORDER BY k
SELECT string_agg(g, ',' ORDER BY k * (SELECT ⟦1 ¦ -1⟧)) FROM relations
SELECT * FROM (SELECT a.k, b.k FROM relations a JOIN relations b USING (k)) q ORDER BY 1
SELECT ⟦k ¦ count(k)⟧ FROM (SELECT a.k, b.k FROM relations a JOIN relations b USING (k)) q
SELECT k, row_number() OVER (ORDER BY (SELECT 1), k) FROM relations WHERE k < (SELECT 4) ORDER BY 1
SELECT a, b FROM generate_series(1, 3) a, generate_series(2, 4) b WHERE a ⟦= ¦ > ¦ <>⟧ b ORDER BY 1, 2
SELECT i FROM generate_series((SELECT min(k) FROM relations), (SELECT max(n) FROM relations)⟦¦, 3⟧) i ORDER BY 1
SELECT * FROM generate_series(1), relations
-- Conditions that go below joins, and those that must not.
SELECT a.k, b.k, c.k FROM relations a ⟦LEFT ¦ RIGHT ¦ FULL⟧ JOIN relations b ON a.n = b.k ⟦LEFT ¦ RIGHT ¦ FULL⟧ JOIN relations c ON b.n = c.k WHERE ⟦a.k > 2 ¦ b.k < 3 ¦ c.k > 1 ¦ coalesce(b.k, 0) = 0 ¦ c.g IS NULL ¦ a.g IS NOT NULL AND c.k IS NULL ¦ a.k = 1 OR b.k IS NULL ¦ b.n = 1 AND a.k > 2 ¦ (a.k > 2) = (c.k > 1)⟧ ORDER BY 1, 2, 3
SELECT k, g FROM relations a ⟦LEFT ¦ RIGHT ¦ FULL ¦ INNER⟧ JOIN (SELECT k + 2 AS k, n AS m FROM relations) b USING (k) ⟦LEFT ¦ RIGHT ¦ FULL ¦ INNER⟧ JOIN (SELECT k + 4 AS k FROM relations) c USING (k) WHERE ⟦k > 4 ¦ k IS NOT NULL AND m = 2 ¦ g = 'b' ¦ k < 9 AND b.k IS NULL ¦ c.k > 8 OR a.k < 3⟧ ORDER BY 1, 2
SELECT a.k, b.k FROM relations a ⟦JOIN ¦ LEFT JOIN ¦ FULL JOIN⟧ relations b ON ⟦(a.k > 2) = (b.k > 6) AND a.n = b.n ¦ upper(a.g) = b.g ¦ upper(a.g) = upper(b.g) ¦ abs(a.n - 3) = b.n ¦ a.v / 2 = b.v ¦ coalesce(a.g, 'none') = coalesce(b.g, 'none') ¦ a.n = CASE WHEN b.k > 3 THEN b.n END ¦ a.k % 3 = b.k % 3 ¦ -a.n = -b.n⟧ ORDER BY 1, 2
SELECT ⟦1 ¦ 'x' ¦ count(*) ¦ NULL⟧ AS c FROM relations a ⟦, relations b ¦ JOIN relations b ON a.n = b.n ¦ LEFT JOIN relations b ON a.k = b.n ¦ FULL JOIN relations b ON a.n = b.k ¦ CROSS JOIN (SELECT 1 WHERE false) b ¦ LEFT JOIN (SELECT 1 WHERE false) b ON true⟧ ⟦¦ LIMIT 3 ¦ ORDER BY 1 LIMIT 2⟧
SELECT a.day, count(*), max(b.at) FROM facts a ⟦JOIN ¦ LEFT JOIN⟧ facts b ON a.⟦day = b.day ¦ at = b.at ¦ at > b.at AND a.n = b.n ¦ day = b.day + 1 ¦ w = b.w AND a.g <> b.g⟧ GROUP BY a.day ORDER BY 1
SELECT DISTINCT ON (a.g) a.g, b.k FROM relations a JOIN relations b ON a.n = b.n ORDER BY a.g, b.k DESC
SELECT a.g, b.g, count(*), grouping(a.g, b.g) FROM relations a ⟦JOIN ¦ LEFT JOIN⟧ relations b ON a.n = b.k GROUP BY ⟦ROLLUP (a.g, b.g) ¦ CUBE (a.g, b.g) ¦ GROUPING SETS ((a.g, b.g), (b.g), ())⟧ ORDER BY 1, 2, 4, 3
SELECT a.g AS g, sum(b.v) AS s FROM relations a JOIN relations b ON a.k = b.k GROUP BY a.g HAVING ⟦sum(b.v) > 1 ¦ max(a.n) > 1 ¦ count(b.n) = 2⟧ ORDER BY ⟦g ¦ s DESC NULLS LAST, g ¦ max(b.k)⟧
SELECT a.k + b.k AS s FROM relations a JOIN relations b ON a.k = b.k ORDER BY ⟦s DESC ¦ a.k - b.k, b.k ¦ b.v NULLS FIRST, a.k⟧
SELECT w, length(w) FROM facts f JOIN (VALUES ('apple'), ('Äpfel'), ('a longer text than any other'), ('')) t (w) USING (w) WHERE f.n = ⟦0 ¦ 1 ¦ 5⟧ ORDER BY 1
SELECT w FROM facts f ⟦RIGHT ¦ FULL⟧ JOIN (VALUES ('apple'), ('a longer text than any other'), ('')) t (w) USING (w) WHERE coalesce(f.n, 5) = 5 ORDER BY 1
SELECT g, x FROM (SELECT g, n AS x FROM relations UNION ALL SELECT 'longer text', 2.5 UNION ALL SELECT NULL, NULL) u ⟦WHERE x > 1 ¦ WHERE g LIKE 'l%' ¦ WHERE length(g) > 3⟧ ORDER BY 1, 2
SELECT ⟦n ¦ 1 ¦ n * 1.5⟧ AS a FROM relations ⟦INTERSECT ¦ EXCEPT⟧ SELECT ⟦v ¦ 1.0 ¦ 1e0⟧ FROM relations ORDER BY 1
SELECT u.k, r.g FROM (SELECT k FROM relations WHERE k < 3 UNION SELECT n FROM relations WHERE k > 5) u LEFT JOIN relations r ON r.k = u.k ORDER BY 1, 2
SELECT (SELECT max(n) FROM relations) AS m, count(*) FROM relations GROUP BY ⟦m ¦ 1 ¦ (SELECT 1)⟧
SELECT CASE WHEN n IN (SELECT n FROM relations WHERE k < 3) THEN 'in' WHEN n NOT IN (SELECT 5) THEN 'not' ELSE 'else' END, count(*) FROM relations GROUP BY 1 ORDER BY 1
SELECT k FROM relations ORDER BY n IN (SELECT 2), (SELECT 1), k
SELECT k, sum(n) OVER (ORDER BY k ROWS BETWEEN 1 PRECEDING AND CURRENT ROW) + (SELECT min(k) FROM facts f, relations r WHERE f.n = r.n) FROM relations ORDER BY k
WITH a AS (SELECT g, sum(n) AS s FROM relations GROUP BY g), b AS (SELECT max(s) AS m FROM a) SELECT a.g FROM a, b WHERE a.s = b.m ORDER BY 1
WITH a AS (WITH b AS (SELECT k FROM relations WHERE k > 5) SELECT k + 1 AS k FROM b) SELECT k FROM a ⟦UNION SELECT n FROM relations ¦ EXCEPT SELECT k FROM a WHERE k = 8 ¦ WHERE k IN (SELECT k FROM relations)⟧ ORDER BY k
WITH a AS (WITH b AS (SELECT 1) SELECT * FROM b) SELECT * FROM b
SELECT * FROM (WITH q AS (SELECT k FROM relations) SELECT k FROM q WHERE k > 6) z JOIN (VALUES (7), (8)) v (k) USING (k) ORDER BY k
SELECT ⟦v.* ¦ *⟧ FROM (VALUES (1, 'a', 1.5, true, NULL), (2, NULL, 2, false, NULL)) v (a, b, c, d, e) ORDER BY a
VALUES ((SELECT 1), (SELECT g FROM relations WHERE k = ⟦1 ¦ 7 ¦ 70⟧))
SELECT a.k FROM relations a WHERE a.k IN (SELECT b.k FROM relations b JOIN relations c ON b.n = c.k WHERE c.g = ⟦'a' ¦ 'b'⟧ UNION SELECT 8) ORDER BY 1
SELECT g FROM relations WHERE g ⟦> ¦ <= ¦ =⟧ ⟦ALL ¦ ANY⟧ (VALUES ('a'), ('b'), ('bb')) ORDER BY 1
SELECT count(*) FROM facts WHERE day ⟦>= ¦ <⟧ ⟦ALL ¦ ANY⟧ (SELECT day FROM facts WHERE g = ⟦'a' ¦ 'b' ¦ 'c'⟧)
SELECT count(*) FROM facts WHERE ⟦at ¦ day⟧ > (SELECT ⟦min(at) ¦ max(day)⟧ FROM facts)
SELECT a.k FROM relations a JOIN relations b ON a.k = b.k AND ⟦sum(a.k) > 1 ¦ row_number() OVER () = 1 ¦ a.n⟧
SELECT sum(k) FROM relations WHERE k = (SELECT k FROM relations ORDER BY ⟦v DESC NULLS LAST ¦ n NULLS LAST⟧, k LIMIT 1)
SELECT x.a FROM (SELECT 1 AS a UNION ALL SELECT 2) AS x (⟦a ¦ b ¦ a, b⟧) ORDER BY 1
SELECT a.k FROM relations AS a JOIN relations AS A ON true
SELECT generate_series.⟦generate_series ¦ k⟧, k FROM generate_series(2, 4) JOIN relations ON generate_series = k ORDER BY 1
SELECT count(*) FROM facts WHERE at - (SELECT min(at) FROM facts) ⟦> ¦ <⟧ (SELECT INTERVAL ⟦'1 day' ¦ '90 minutes'⟧)
SELECT INTERVAL '1 day' IN (SELECT INTERVAL '24 hours' UNION SELECT INTERVAL '2 days'), (SELECT max(at) - min(at) FROM facts)
-- EXISTS over what is around.
SELECT a.k FROM relations a WHERE ⟦¦ NOT⟧ EXISTS (SELECT ⟦1 ¦ * ¦ b.k, a.k ¦ NULL⟧ FROM relations b WHERE ⟦b.n = a.n ¦ a.n = b.n AND b.k <> a.k ¦ b.n = a.k + 1 ¦ b.g = a.g AND b.n > a.n ¦ b.k > a.k AND b.v < a.v ¦ a.k = 3 ¦ b.n = a.n AND b.g IS NULL ¦ b.n = a.n AND a.g IS NULL ¦ b.n IS NOT DISTINCT FROM a.n AND b.k <> a.k ¦ b.n = a.n OR b.g = a.g ¦ b.n = 77 AND a.k = b.k ¦ b.n BETWEEN a.n AND a.k⟧) ORDER BY 1
SELECT k FROM relations WHERE ⟦¦ NOT⟧ EXISTS (SELECT 1 FROM facts f WHERE f.n = k AND ⟦f.g = relations.g ¦ x > v ¦ w = 'fig' ¦ f.g < relations.g ¦ false ¦ NULL⟧) ORDER BY 1
SELECT k, ⟦¦ NOT⟧ EXISTS (SELECT 1 FROM relations b WHERE b.⟦n = a.n ¦ g = a.g ¦ k = a.n + 1⟧ AND b.k ⟦> ¦ <⟧ a.k) AS e FROM relations a ⟦WHERE k > 2 ¦ WHERE g = 'a' OR n = 2 ¦ WHERE false⟧ ORDER BY ⟦1 ¦ e, k⟧
SELECT k FROM relations a WHERE k < ⟦7 ¦ 0⟧ AND (EXISTS (SELECT 1 FROM relations b WHERE b.n = a.k) OR NOT EXISTS (SELECT 1 FROM facts f WHERE f.g = a.g AND f.n = ⟦a.n ¦ a.k⟧)) ORDER BY k
SELECT count(*) FROM facts f WHERE EXISTS (SELECT 1 FROM facts h WHERE h.⟦g = f.g ¦ w = f.w ¦ day = f.day ¦ n = f.n ¦ d = f.d ¦ x = f.x ¦ at = f.at⟧ AND h.⟦n <> f.n ¦ x > f.x + 3 ¦ d IS NULL ¦ w IS DISTINCT FROM f.w⟧)
SELECT k FROM relations a WHERE EXISTS (SELECT ⟦max(b.k) ¦ count(*) ¦ 1⟧ FROM relations b WHERE b.n = a.n ⟦GROUP BY b.g ¦ HAVING count(*) > 1 ¦ GROUP BY b.g HAVING count(*) > 1 ¦ LIMIT 1 ¦ LIMIT 0 ¦ OFFSET 1 ¦ ORDER BY 1⟧) ORDER BY k
SELECT k FROM relations a WHERE EXISTS (SELECT max(b.k) FROM relations b WHERE b.n = a.n AND b.k > ⟦a.k ¦ 100⟧) ORDER BY k
SELECT k FROM relations a WHERE EXISTS (SELECT 1 FROM ⟦relations b, facts f WHERE f.n = b.n AND ¦ relations b JOIN facts f ON f.n = b.n AND f.g = a.g WHERE ¦ relations b LEFT JOIN facts f ON f.n = b.n WHERE f.n IS NULL AND ¦ (SELECT * FROM relations) b WHERE ¦ generate_series(1, 3) s (n) JOIN relations b USING (n) WHERE⟧ b.k ⟦= a.n ¦ > a.k⟧) ORDER BY k
-- IN, ANY and ALL over what is around.
SELECT k FROM relations a WHERE ⟦n ¦ n + 1 ¦ k⟧ ⟦IN ¦ NOT IN⟧ (SELECT ⟦n ¦ b.k ¦ b.n + a.k⟧ FROM relations b WHERE b.⟦g = a.g ¦ n = a.n ¦ g = a.g AND b.k <> a.k ¦ g <> a.g ¦ k = a.n AND b.v > 0⟧) ORDER BY k
SELECT k, n ⟦IN ¦ NOT IN ¦ = ALL ¦ <> ANY ¦ > ANY ¦ > ALL ¦ <= ANY ¦ <= ALL⟧ (SELECT ⟦n ¦ k⟧ FROM relations b WHERE b.⟦g = a.g ¦ k < a.k ¦ n = a.n ¦ g = 'zz' AND b.k = a.k⟧) AS i FROM relations a ORDER BY k
SELECT k FROM relations a WHERE v ⟦> ALL ¦ < ANY ¦ >= ALL ¦ <> ALL⟧ (SELECT v FROM relations b WHERE b.⟦n = a.n ¦ g <> a.g ¦ k > a.k AND b.v IS NOT NULL⟧) ORDER BY k
SELECT k, n IN (SELECT ⟦max(n) FROM relations b WHERE b.g = a.g ¦ max(n) FROM relations b WHERE b.k <= a.k GROUP BY g ¦ DISTINCT n FROM relations b WHERE b.k < a.k ¦ n FROM relations b WHERE b.k < a.k ORDER BY k DESC LIMIT 2 ¦ n FROM relations b WHERE b.k < a.k UNION SELECT k FROM facts f, relations c WHERE f.g = a.g AND c.k = 5⟧) FROM relations a ORDER BY k
SELECT count(*) FROM facts f WHERE ⟦day ¦ at ¦ d ¦ x ¦ n⟧ ⟦IN ¦ NOT IN⟧ (SELECT ⟦day ¦ at ¦ d ¦ x ¦ n⟧ FROM facts h WHERE h.g = f.g AND h.n ⟦> f.n ¦ = 3⟧)
SELECT g FROM relations a WHERE g IN (SELECT f.g FROM facts f WHERE f.n = a.n AND f.w ⟦IN ('apple', 'pear', 'fig') ¦ > a.g⟧) ⟦AND k > 1 ¦ OR k = 7⟧ ORDER BY k
SELECT k FROM relations a WHERE (n IN (SELECT k FROM relations b WHERE b.g = a.g)) IS ⟦TRUE ¦ NOT TRUE ¦ NULL ¦ FALSE ¦ UNKNOWN⟧ ORDER BY k
-- Values over what is around.
SELECT k, (SELECT ⟦max(v) ¦ count(*) ¦ count(v) ¦ coalesce(sum(v), 0) ¦ sum(n) * 2 + 1 ¦ count(*) + 1 ¦ min(g) ¦ string_agg(b.g, ',' ORDER BY b.k) ¦ avg(n) ¦ count(*) FILTER (WHERE v > 1) ¦ count(DISTINCT n) ¦ max(b.k) - a.k ¦ bool_or(v > 1) ¦ CASE WHEN count(*) = 0 THEN 'none' ELSE max(g) END⟧ FROM relations b WHERE b.⟦n = a.n ¦ g = a.g ¦ k > a.k ¦ n = a.n AND b.k <> a.k ¦ k = -a.k⟧) AS m FROM relations a ORDER BY k
SELECT k FROM relations a WHERE ⟦k ¦ v⟧ ⟦= ¦ < ¦ >=⟧ (SELECT ⟦max(b.k) ¦ avg(v) ¦ count(*)⟧ FROM relations b WHERE b.⟦g = a.g ¦ n = a.n ¦ n <= a.k⟧) ORDER BY k
SELECT k, (SELECT b.g FROM relations b WHERE b.k = a.⟦n ¦ k + 1 ¦ n + a.k⟧) AS g2 FROM relations a ORDER BY ⟦k ¦ g2 NULLS FIRST, k ¦ (SELECT b.n FROM relations b WHERE b.k = a.k) DESC NULLS LAST, k⟧
SELECT k, (SELECT b.k FROM relations b WHERE b.g = a.g) AS s FROM relations a WHERE ⟦k > 5 ¦ k < 3 ¦ g IS NULL ¦ false⟧ ORDER BY a.k
SELECT k, (SELECT b.k FROM relations b WHERE b.g = a.g ORDER BY ⟦b.k ¦ b.k DESC ¦ b.v DESC NULLS LAST, k ¦ 1 DESC⟧ LIMIT 1⟦¦ OFFSET 1⟧) AS l FROM relations a ORDER BY k
SELECT k, (SELECT count(*) FROM (SELECT 1) q WHERE a.n ⟦= 1 ¦ IS NULL ¦ > 1⟧) FROM relations a ORDER BY k
SELECT k, (SELECT ⟦a.k ¦ a.n + k ¦ upper(g) ¦ length(a.g) ¦ NULL ¦ CASE WHEN a.n > 1 THEN 'big' END⟧ ⟦¦ WHERE k > 3 ¦ WHERE n IS NULL⟧) AS s FROM relations a ORDER BY a.k
SELECT k, (SELECT DISTINCT ⟦b.n ¦ b.g⟧ FROM relations b WHERE b.g = a.g AND b.n = a.n) FROM relations a ORDER BY k
SELECT k, (SELECT max(b.k) FROM relations b WHERE b.g = a.g GROUP BY b.⟦g ¦ n⟧) FROM relations a WHERE k ⟦< 4 ¦ > 4⟧ ORDER BY k
SELECT k, (SELECT max(k) FROM relations b WHERE b.g = a.g HAVING ⟦count(*) > 1 ¦ max(b.k) > a.k ¦ count(*) = 0⟧) FROM relations a ORDER BY k
SELECT k, (SELECT sum(s) FROM (SELECT g, sum(v) AS s FROM relations GROUP BY g) q WHERE q.g ⟦= ¦ <> ¦ <⟧ a.g) FROM relations a ORDER BY k
SELECT k, (SELECT count(*) FROM relations b, facts f WHERE b.n = f.n AND ⟦b.g = a.g ¦ f.g = a.g AND b.k > a.k ¦ a.k = b.k⟧) FROM relations a ORDER BY k
SELECT k, (SELECT count(f.n) FROM relations b LEFT JOIN facts f ON f.n = b.k WHERE b.g = a.g) FROM relations a ORDER BY k
SELECT k, (SELECT b.k + row_number() OVER (ORDER BY b.k) FROM relations b WHERE b.g = a.g ORDER BY 1 LIMIT 1) FROM relations a ORDER BY k
SELECT k, (SELECT max(x) FROM (SELECT n AS x FROM relations UNION ALL SELECT 4) u WHERE u.x < a.k) FROM relations a ORDER BY k
SELECT k, (SELECT max(k) FROM relations b WHERE b.g = a.g UNION SELECT max(k) FROM relations b WHERE b.g = a.g) FROM relations a ORDER BY k
SELECT w, (SELECT ⟦max(h.day) ¦ min(h.at) ¦ sum(h.d) ¦ avg(h.x) ¦ count(h.w) ¦ max(h.at - f.at)⟧ FROM facts h WHERE h.⟦g = f.g AND h.n > f.n ¦ day < f.day ¦ w = f.w AND h.d > 0 ¦ x = f.x⟧) AS m FROM facts f WHERE n ⟦= 3 ¦ < 2⟧ ORDER BY w, 2
-- In other places.
SELECT k, CASE WHEN EXISTS (SELECT 1 FROM relations b WHERE b.n = a.k) THEN ⟦'yes' ¦ (SELECT max(g) FROM relations b WHERE b.k = a.k)⟧ ELSE ⟦'no' ¦ (SELECT min(w) FROM facts f WHERE f.g = a.g)⟧ END AS c FROM relations a ORDER BY k
SELECT a.k, b.k FROM relations a ⟦JOIN ¦ LEFT JOIN⟧ relations b ON a.n = b.k WHERE ⟦EXISTS (SELECT 1 FROM facts f WHERE f.n = a.k AND f.n > b.k) ¦ a.k > (SELECT max(c.n) FROM relations c WHERE c.g = b.g) ¦ b.g IN (SELECT f.g FROM facts f WHERE f.n = a.n) ¦ NOT EXISTS (SELECT 1 FROM relations c WHERE c.g = a.g AND c.k = b.k)⟧ ORDER BY 1, 2
SELECT a.k, b.k, (SELECT max(c.k) FROM relations c WHERE ⟦c.n = a.n AND c.g = b.g ¦ c.k < a.k + b.k ¦ c.n = b.n⟧) FROM relations a ⟦JOIN ¦ LEFT JOIN ¦ FULL JOIN⟧ relations b ON a.n = b.k ORDER BY 1, 2
SELECT a.k, b.k FROM relations a JOIN relations b ON a.n = b.n AND ⟦EXISTS (SELECT 1 FROM facts f WHERE f.n = a.k) ¦ b.k > (SELECT max(c.n) FROM relations c WHERE c.g = a.g) ¦ a.k NOT IN (SELECT c.n FROM relations c WHERE c.k = b.k)⟧ ORDER BY 1, 2
SELECT a.k, b.k FROM relations a ⟦LEFT ¦ RIGHT ¦ FULL⟧ JOIN relations b ON a.n = b.n AND ⟦EXISTS (SELECT 1 FROM facts f WHERE f.n = a.k) ¦ b.k > (SELECT max(c.n) FROM relations c WHERE c.g = b.g) ¦ NOT EXISTS (SELECT 1 FROM relations c WHERE c.n = b.k) AND a.k IN (SELECT c.k FROM relations c WHERE c.g = a.g AND c.k > 1) ¦ (a.k = b.k OR a.k < (SELECT count(*) FROM relations c WHERE c.n = a.n))⟧ ORDER BY 1, 2
SELECT a.k, b.k FROM relations a LEFT JOIN (relations b JOIN facts f ON f.n = b.k AND EXISTS (SELECT 1 FROM relations c WHERE c.n = b.k⟦¦ AND b.k > 1⟧)) ON a.n = b.n ORDER BY 1, 2
SELECT g, count(*), (SELECT ⟦max(v) ¦ count(*)⟧ FROM relations b WHERE b.g = a.g) AS m FROM relations a GROUP BY g ⟦¦ HAVING count(*) > 1 ¦ HAVING (SELECT count(*) FROM facts f WHERE f.g = a.g) > 5 ¦ HAVING EXISTS (SELECT 1 FROM facts f WHERE f.g = a.g AND f.n = 3)⟧ ORDER BY ⟦g ¦ m, g ¦ (SELECT max(f.n) FROM facts f WHERE f.g = a.g), g⟧
SELECT g, n, count(*) FROM relations a GROUP BY g, n HAVING n ⟦IN ¦ NOT IN⟧ (SELECT f.n FROM facts f WHERE f.g = a.g) ORDER BY 1, 2
SELECT g, (SELECT max(b.v) FROM relations b WHERE b.k = a.k) FROM relations a GROUP BY g
SELECT g, sum((SELECT count(*) FROM relations b WHERE b.⟦n = a.n ¦ k < a.k⟧)) FROM relations a GROUP BY g ORDER BY g
SELECT (SELECT max(b.k) FROM relations b WHERE b.g = a.g) AS m, count(*) FROM relations a GROUP BY ⟦1 ¦ m⟧ ORDER BY 1
SELECT count(*) FILTER (WHERE EXISTS (SELECT 1 FROM facts f WHERE f.g = a.g)), sum(k) FROM relations a ⟦¦ WHERE n = (SELECT min(n) FROM relations b WHERE b.g = a.g)⟧
SELECT k, sum(k) OVER (PARTITION BY (SELECT count(*) FROM relations b WHERE b.g = a.g) ORDER BY k) FROM relations a ORDER BY k
SELECT DISTINCT (SELECT count(*) FROM relations b WHERE b.g = a.g) AS c FROM relations a ORDER BY ⟦c ¦ 1 DESC⟧
SELECT * FROM (SELECT a.k, (SELECT max(b.k) FROM relations b WHERE b.g = a.g) AS m FROM relations a) q WHERE m > k ORDER BY 1
SELECT *, EXISTS (SELECT 1 FROM relations b WHERE b.n = a.k) FROM relations a ORDER BY k
WITH q AS (SELECT k, n FROM relations a WHERE EXISTS (SELECT 1 FROM relations b WHERE b.n = a.n AND b.k > a.k)) SELECT q.k, (SELECT count(*) FROM q r WHERE r.k ⟦<= ¦ =⟧ q.k) FROM q ORDER BY 1
WITH q AS (SELECT g, count(*) AS c FROM relations GROUP BY g) SELECT a.k, (SELECT c FROM q WHERE q.g = a.g) FROM relations a WHERE ⟦EXISTS (SELECT 1 FROM q WHERE q.c > a.k) ¦ a.k IN (SELECT c + 1 FROM q WHERE q.g = a.g)⟧ ORDER BY k
SELECT k FROM relations a WHERE k = (WITH q AS (SELECT max(k) AS m FROM relations) SELECT m FROM q WHERE m > a.⟦n ¦ k - 1⟧)
-- Two levels, and three.
SELECT k FROM relations a WHERE EXISTS (SELECT 1 FROM relations b WHERE b.n = a.n AND ⟦EXISTS ¦ NOT EXISTS⟧ (SELECT 1 FROM relations c WHERE c.k = b.⟦k + 1 ¦ n⟧ AND c.g ⟦= ¦ <>⟧ b.g)) ORDER BY k
SELECT k FROM relations a WHERE NOT EXISTS (SELECT 1 FROM relations b WHERE b.g = a.g AND NOT EXISTS (SELECT 1 FROM facts f WHERE f.n = ⟦b.n AND f.g = a.g ¦ a.n AND f.g = b.g ¦ b.k⟧)) ORDER BY k
SELECT k, (SELECT max(b.k) FROM relations b WHERE b.g = a.g AND b.v ⟦>= ¦ =⟧ (SELECT max(c.v) FROM relations c WHERE c.g = b.g ⟦¦ AND c.k <> a.k⟧)) FROM relations a ORDER BY k
SELECT k, (SELECT sum((SELECT count(*) FROM facts f WHERE f.n = b.n)) FROM relations b WHERE b.g = a.g) FROM relations a ORDER BY k
SELECT k, (SELECT (SELECT max(c.k) FROM relations c WHERE c.n = ⟦b.k ¦ a.n⟧) FROM relations b WHERE b.k = a.n) FROM relations a ORDER BY k
SELECT k FROM relations a WHERE k IN (SELECT b.k FROM relations b WHERE b.n = a.n AND b.k IN (SELECT c.n + ⟦1 ¦ a.n⟧ FROM relations c WHERE c.k <= b.k)) ORDER BY k
SELECT k FROM relations a WHERE n IN (SELECT b.n FROM relations b WHERE b.k > (SELECT avg(c.k) FROM relations c WHERE c.n = b.n AND EXISTS (SELECT 1 FROM relations d WHERE d.g = c.g AND d.n = a.n))) ORDER BY k
-- Names that nobody knows, and what may not be.
SELECT k FROM relations a WHERE EXISTS (SELECT 1 FROM facts f WHERE f.n = a.⟦zz ¦ g⟧)
SELECT k, (SELECT ⟦b.k, b.n ¦ *⟧ FROM relations b WHERE b.k = a.k) FROM relations a
SELECT k FROM relations a WHERE k IN (SELECT ⟦b.k, b.n ¦ *⟧ FROM relations b WHERE b.k = a.k)
SELECT k FROM relations a WHERE EXISTS (SELECT b.g + 1 FROM relations b WHERE b.k = a.k)
SELECT count(*), (SELECT max(b.k) FROM relations b WHERE b.n = a.k) FROM relations a
WITH q AS (SELECT ⟦zz ¦ k + g ¦ k FROM nothing ¦ max(k), n⟧ FROM relations) SELECT ⟦count(*) FROM relations ¦ (SELECT k FROM relations WHERE k = 1)⟧
WITH q AS (SELECT zz FROM relations) SELECT (SELECT max(zz) FROM q) FROM (SELECT 1 AS zz) t
WITH q AS (SELECT 1 / 0), r AS (SELECT * FROM relations WHERE k > (SELECT max(n) FROM relations)) SELECT count(*) FROM ⟦relations ¦ r⟧
WITH q AS (SELECT k AS a FROM relations), r AS (SELECT ⟦a ¦ b⟧ FROM q) SELECT 1
WITH q AS (SELECT 1 UNION SELECT ⟦'a' ¦ 1, 2 ¦ 2⟧) SELECT 1 AS one
WITH q AS (SELECT ⟦k FROM generate_series(1, 2) ¦ i FROM generate_series(1, 2) i ¦ i.k FROM generate_series(1, 2) i⟧) SELECT 1 AS one
-- Series of days and moments.
SELECT CAST(t AS timestamp) FROM generate_series(⟦DATE '2024-01-31' ¦ TIMESTAMP '2024-01-31 12:30:00'⟧, ⟦DATE '2024-06-30' ¦ TIMESTAMP '2024-05-30 12:30:00' ¦ DATE '2023-01-01'⟧, INTERVAL ⟦'1 month' ¦ '45 days' ¦ '1 month 1 day' ¦ '-1 month' ¦ '1000 hours' ¦ '1 month -1 day'⟧) t ORDER BY 1
SELECT CAST(t AS timestamp) FROM generate_series(DATE '2024-03-31', DATE ⟦'2023-09-01' ¦ '2024-03-31'⟧, INTERVAL ⟦'-1 month' ¦ '-40 days' ¦ '-1 year'⟧) t ORDER BY 1
SELECT * FROM generate_series(TIMESTAMP '2024-02-28 22:00:00', TIMESTAMP '2024-02-29 03:00:00', INTERVAL ⟦'1 hour' ¦ '90 minutes' ¦ '0.5 hours' ¦ '1 hour 0.25 seconds'⟧) s (t) WHERE t > DATE '2024-02-29' ORDER BY 1
SELECT CAST(s.t AS date), count(f.day), sum(f.n) FROM generate_series(DATE '2012-01-01', DATE '2012-01-10', INTERVAL '1 day') s (t) LEFT JOIN facts f ON f.day = s.t GROUP BY s.t ORDER BY s.t
SELECT count(*), CAST(min(d) AS date), CAST(max(d) AS timestamp) FROM generate_series(⟦DATE '2000-02-29' ¦ DATE '1999-12-31' ¦ NULL::date⟧, DATE '2020-02-29', INTERVAL ⟦'1 year' ¦ '1 week' ¦ '3 months'⟧) d
SELECT * FROM generate_series(DATE '2024-01-01', DATE '2024-01-02', INTERVAL ⟦'0 days' ¦ '1 day -24 hours' ¦ '1 month -30 days'⟧)
SELECT * FROM generate_series(DATE '2024-01-01', DATE '2024-01-03')
SELECT * FROM generate_series(DATE '2024-01-01', ⟦5 ¦ DATE '2024-01-03'⟧, 1)
SELECT extract(month FROM m), (SELECT count(*) FROM facts f WHERE f.day >= m AND f.day < m + INTERVAL '1 month') FROM generate_series(DATE '2012-01-01', DATE '2012-04-01', INTERVAL '1 month') m ORDER BY 1
