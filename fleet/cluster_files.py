"""The configuration files of fleet/cluster: what differs from the servers' defaults, and why."""

from xml.sax.saxutils import escape

KEEPER = "zookeeper"

# Memory is limited, as ClickHouse's defaults would let each node take all of it. ZooKeeper sessions last 2 s instead of
# 30, as a killed replica counts as active until its session expires. A node notices a lost session after 1 s instead of
# 60.
NODE = """<?xml version="1.0"?>
<yandex>
  <logger><level>information</level><log>{folder}/log</log><errorlog>{folder}/errors</errorlog><size>20M</size><count>1</count></logger>
  <listen_host>127.0.0.1</listen_host>
  <http_port>{http}</http_port>
  <tcp_port>{tcp}</tcp_port>
  <interserver_http_host>127.0.0.1</interserver_http_host>
  <interserver_http_port>{interserver}</interserver_http_port>
  <interserver_http_credentials><user>replica</user><password>{password}</password></interserver_http_credentials>
  <max_connections>200</max_connections>
  <uncompressed_cache_size>0</uncompressed_cache_size>
  <mark_cache_size>268435456</mark_cache_size>
  <path>{folder}/data/</path>
  <tmp_path>{folder}/data/tmp/</tmp_path>
  <user_files_path>{folder}/data/user_files/</user_files_path>
  <users_config>users.xml</users_config>
  <default_profile>default</default_profile>
  <default_database>default</default_database>
  <timezone>UTC</timezone>
  <compression><case><min_part_size>0</min_part_size><min_part_size_ratio>0</min_part_size_ratio><method>zstd</method></case></compression>
  <merge_tree>
    <max_bytes_to_merge_at_max_space_in_pool>10000000000</max_bytes_to_merge_at_max_space_in_pool>
    <zookeeper_session_expiration_check_period>1</zookeeper_session_expiration_check_period>
  </merge_tree>
  <remote_servers><{cluster}>{shards}</{cluster}></remote_servers>
  {keeper}
  <macros><velstat_urls>{urls}</velstat_urls><cluster>{cluster}</cluster><shard>{shard}</shard><replica>{name}</replica></macros>
  <distributed_ddl><path>/clickhouse/task_queue/ddl</path></distributed_ddl>
</yandex>
"""
KEEPER_OF_NODE = """<zookeeper>
    <node><host>127.0.0.1</host><port>{port}</port></node>
    <session_timeout_ms>2000</session_timeout_ms>
    <identity>clickhouse:{password}</identity>
  </zookeeper>"""
USERS = """<?xml version="1.0"?>
<yandex>
  <profiles><default>
    <max_memory_usage>2000000000</max_memory_usage>
    <max_memory_usage_for_all_queries>3000000000</max_memory_usage_for_all_queries>
    <background_pool_size>4</background_pool_size>
    <load_balancing>in_order</load_balancing>
  </default></profiles>
  <users><default>
    <password>{password}</password>
    <networks><ip>127.0.0.1</ip></networks>
    <profile>default</profile><quota>default</quota>
  </default></users>
  <quotas><default/></quotas>
</yandex>
"""
KEEPER_CONFIG = """tickTime=500
dataDir=./data
clientPort={port}
clientPortAddress=127.0.0.1
admin.enableServer=false
4lw.commands.whitelist=srvr,dump
autopurge.snapRetainCount=3
autopurge.purgeInterval=1
maxClientCnxns=200
"""


def configuration(name):
    return "zoo.cfg" if name == KEEPER else "config.xml"


def write_configuration(folder, cluster, password, nodes, keeper_port):
    """Writes the files of each node, and of ZooKeeper if it has a port."""
    urls = " ".join(f"http://127.0.0.1:{node['http']}" for node in nodes)
    shards = ""
    for shard in sorted({node["shard"] for node in nodes}):
        replicas = "".join(
            f"<replica><host>127.0.0.1</host><port>{node['tcp']}</port><user>default</user>"
            f"<password>{password}</password></replica>" for node in nodes if node["shard"] == shard)
        shards += f"<shard><internal_replication>true</internal_replication>{replicas}</shard>"
    keeper = ""
    if keeper_port:
        keeper = KEEPER_OF_NODE.format(port=keeper_port, password=password)
        (folder / KEEPER / "data").mkdir(parents=True)
        (folder / KEEPER / configuration(KEEPER)).write_text(KEEPER_CONFIG.format(port=keeper_port))
    for node in nodes:
        of_node = folder / node["name"]
        (of_node / "data").mkdir(parents=True)
        (of_node / "users.xml").write_text(USERS.format(password=password))
        (of_node / configuration(node["name"])).write_text(NODE.format(
            **node, folder=escape(str(of_node)), password=password, cluster=cluster, urls=urls, shards=shards,
            keeper=keeper))
