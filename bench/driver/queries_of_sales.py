"""The queries of several tables: sales with their customers and products. queries.py lists them
with the others; constants that stand in peers/polars_sales.py and suite/ByHandSales.cpp too: change
all.
"""

STAR_JOIN = """
    SELECT c_segment, p_category, SUM(s_price * s_quantity) FROM sales
    JOIN customers ON s_custkey = c_custkey JOIN products ON s_prodkey = p_prodkey
    WHERE c_balance >= 1000 AND p_weight < 500 GROUP BY c_segment, p_category"""
TOP_PER_CUSTOMER = """
    SELECT k, c, p FROM
        (SELECT s_id AS k, s_custkey AS c, s_price AS p,
                ROW_NUMBER() OVER (PARTITION BY s_custkey
                                   ORDER BY s_price DESC NULLS LAST, s_id) AS n
         FROM sales) AS numbered
    WHERE n = 1"""
SEMI_JOIN = """
    SELECT COUNT(*), SUM(s_price) FROM sales
    WHERE s_custkey IN (SELECT c_custkey FROM customers WHERE c_region = 'ASIA')"""
UNION_OF_GROUPS = """
    SELECT c_region AS k, COUNT(*) AS n, SUM(s_price) AS s
    FROM sales JOIN customers ON s_custkey = c_custkey GROUP BY c_region
    UNION ALL
    SELECT p_category AS k, COUNT(*) AS n, SUM(s_price) AS s
    FROM sales JOIN products ON s_prodkey = p_prodkey GROUP BY p_category"""
